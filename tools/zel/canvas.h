// Drawing for pictures that people look at: contact sheets and comparisons. 8 bits, colour.
#ifndef ZEL_TOOL_CANVAS_H_
#define ZEL_TOOL_CANVAS_H_

#include <cstdint>
#include <string>

#include "photo.h"

namespace tool {

struct Ink {
  uint8_t r, g, b;
};

constexpr Ink kPaper{250, 250, 248}, kText{40, 40, 44}, kFaint{170, 170, 174};

// Without what the source carried; 8 bits, three channels, upright.
Photo NewCanvas(int width, int height, Ink paper);
void Fill(Photo* canvas, int left, int top, int right, int bottom, Ink ink);
// ASCII letters of 5 x 7 dots in cells of 6 x 8, each dot `scale` pixels wide.
void DrawText(Photo* canvas, int left, int top, const std::string& text, int scale, Ink ink);
int TextWidth(const std::string& text, int scale);
// Pastes an 8-bit photograph of three channels.
void Paste(Photo* canvas, const Photo& picture, int left, int top);

// An upright copy with 8 bits and three channels, alpha over paper, made smaller by averaging until it fits; never
// larger.
Photo Reduced(Photo photo, int maxWidth, int maxHeight);

}  // namespace tool

#endif  // ZEL_TOOL_CANVAS_H_
