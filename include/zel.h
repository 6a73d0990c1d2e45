/*
 * Zel: photo enhancement, one function per adjustment.
 *
 * Every function takes a source image, mostly a destination image, the settings of the adjustment and
 * mostly a rectangle, writes the adjusted pixels into the destination and keeps nothing. The source is
 * never written, unless source and destination are the same memory, which every function allows.
 *
 * Common to all functions, unless a function says otherwise:
 *
 * Images      Source and destination agree in width, height, stride and format. A record that cannot
 *             describe memory (null data, width or height below 1, a stride below width x channels, more
 *             bytes than the address space holds) is refused.
 * Rectangle   Null means the whole image. The corners may come in any order and may lie outside the
 *             image: they are reordered and cut. Pixels outside the rectangle are not written.
 * Depths      8 or 16 bits per channel, 1 or 3 channels, red or blue first.
 * Result      ZEL_OK, ZEL_NULL_ARGUMENT or ZEL_REFUSED. A refusing function leaves the destination
 *             untouched, unless it says that it copies the source there.
 * Threads     Calls may overlap freely as long as no call writes memory that another one uses.
 * Memory      Working memory is taken from the heap and released before the function returns. When there
 *             is too little of it, the function refuses.
 *
 * "Copies the source" means: with a rectangle its pixels, in any depth; without one height x stride bytes
 * from the start of the pixel memory, row ends included, whatever the two records say: source and destination
 * must have the same layout there. The stride counts samples, so a 16-bit image gets only the upper half of
 * its rows that way: a host that keeps separate buffers at 16 bits passes the full rectangle.
 *
 * All functions stand in this one file, in the order of their ordinals, so that a host needs and reads no other.
 */
#ifndef ZEL_H_
#define ZEL_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32) && !defined(_WIN64)
#define ZEL_CALL __cdecl
#else
#define ZEL_CALL
#endif

#if defined(ZEL_STATIC)
#define ZEL_API
#elif defined(_WIN32)
#ifdef ZEL_BUILDING
#define ZEL_API __declspec(dllexport)
#else
#define ZEL_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ZEL_API __attribute__((visibility("default")))
#else
#define ZEL_API
#endif

/* Result codes. */
#define ZEL_OK 0             /* done; also when there was nothing to do */
#define ZEL_NULL_ARGUMENT -2 /* a required pointer is null, or a mode is unknown, where a function says so */
#define ZEL_REFUSED -8       /* this image or these settings cannot be processed, or memory ran out */

/*
 * How the samples of a pixel are stored.
 *
 *   bit 0        0: sample 0 is red (RGB); 1: sample 0 is blue (BGR)
 *   bits 4-7     samples per pixel: 1, 3 or 4
 *   bits 8-15    bits per sample: 8 or 16
 *   bits 16-27   class: 0x001 one sample, 0x010 three samples, 0x020 four samples
 *
 * Functions look at the first three fields; the class matters only where two formats must be equal.
 */
typedef uint32_t FormatCode;

#define ZEL_FORMAT_GREY8 0x00100810u
#define ZEL_FORMAT_GREY16 0x00101010u
#define ZEL_FORMAT_RGB24 0x01000830u
#define ZEL_FORMAT_BGR24 0x01000831u
#define ZEL_FORMAT_RGB48 0x01001030u
#define ZEL_FORMAT_BGR48 0x01001031u
#define ZEL_FORMAT_RGBX32 0x02000840u
#define ZEL_FORMAT_BGRX32 0x02000841u
#define ZEL_FORMAT_RGBX64 0x02001040u
#define ZEL_FORMAT_BGRX64 0x02001041u

/* An image in the caller's memory. Sample k of pixel x in row y lies at sample y * stride + x * samples + k. */
typedef struct ImageDesc {
  int32_t width;     /* pixels per row */
  int32_t height;    /* rows */
  FormatCode format; /* how a pixel is stored */
  int32_t stride;    /* samples (not bytes) from one row to the next */
  uint8_t* data;     /* first sample of row 0; 16-bit samples in the machine's byte order, at an even address */
} ImageDesc;

/* Columns left to right - 1 and rows top to bottom - 1. */
typedef struct ZelRect {
  int32_t left, top, right, bottom;
} ZelRect;

/* A pixel. A null pointer, or both coordinates -1, means no point. */
typedef struct ZelPoint {
  int32_t x, y;
} ZelPoint;

/* Sizes of the tables that are handed out and taken back. */
#define ZEL_LUT1D_BYTES 768   /* red, green and blue table, 256 bytes each */
#define ZEL_LUT3D_BYTES 12288 /* 16 x 16 x 16 nodes of red, green, blue; red varies fastest; inputs k * 17 */

/*
 * Version of the library, "2, 1, 0, 2" with its terminating zero (11 bytes), written to `buffer`.
 * Result: ZEL_OK; ZEL_REFUSED when `buffer` is null.
 */
ZEL_API int32_t ZEL_CALL GetDLLVersion(char* buffer);

/* Automatic adjustments: the library looks at the photograph and decides. */

/*
 * Automatic tone: one curve per channel from the picture's own histogram.
 *
 * flag      1 applies three quarters of the strength in styles 0, 1, 2, 3 and 5 and makes style 0 behave like
 *           style 3; any other value has no effect.
 * style     0 chooses among the curves of 1 (light pictures), 2 (normal) and 5 (dark) by itself; 1 deepens light
 *           pictures; 2 equalises the shadows, 3 the mid-tones; 5 equalises by half and stretches the shadows;
 *           4 stretches the levels and sets a gamma from 0.8 to 2.0 by the strength; 6 stretches, brightens and
 *           then raises the contrast by the strength. Others are refused, unless the strength is 0.
 * strength  0 to 100. At 0 the curve is the identity, except in styles 4 and 6.
 * rect      where the curve is applied; the whole image is always measured.
 *
 * Works on 8-bit images of three channels; styles 4 and 6 also at 16 bits, with an 8-bit curve.
 * Result: ZEL_NULL_ARGUMENT for a null source; ZEL_REFUSED for an unknown style or an image that cannot be
 * processed; then nothing is written.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_ToneEnhancement(const ImageDesc* source, const ImageDesc* destination,
                                                       int32_t flag, int32_t style, int32_t strength,
                                                       const ZelRect* rect);

/*
 * Smart contrast: stretches the levels so that the darkest and brightest half per cent of the picture become
 * black and white; all channels alike, so colours keep their balance.
 *
 * reserved  ignored
 * strength  0 copies the source. 50 is the full stretch to the measured points; 100 is a hard, poster-like
 *           contrast. Values are meant from 0 to 100; higher ones act like the strongest curve.
 * rect      where the curve is applied; the whole image is always measured.
 *
 * 1 and 3 channels, 8 and 16 bits. Result: ZEL_NULL_ARGUMENT for a null source.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_SmartContrast(const ImageDesc* source, const ImageDesc* destination,
                                                     int32_t reserved, int32_t strength, const ZelRect* rect);

/*
 * Removes a colour cast: finds the tint of the brightest areas and moves it towards grey.
 *
 * reserved  ignored
 * strength  0 (keep) to 100 (neutral) per cent of the way; not limited, other values extrapolate.
 * rect      where the curve is applied; the whole image is always measured.
 *
 * A cast is only looked for in 8-bit images of three channels stored blue first; other images of one or three
 * channels come out unchanged. Settings are read from "Zel_ColorCast.ini" on each call.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_ColorCast(const ImageDesc* source, const ImageDesc* destination,
                                                 uint32_t reserved, int32_t strength, const ZelRect* rect);

/*
 * Makes colours richer: the most colourful pixel is led towards full chroma.
 *
 * mode      1 confines the effect to reddish hues (others only gain plain saturation at higher strengths);
 *           any other value treats all colours.
 * strength  0 does nothing at all: the destination is not written. 1 to 100.
 * rect      where the colours change; the whole image is always measured.
 *
 * Three channels. 16-bit images keep 8 bits of precision in the plain mode and are refused in mode 1.
 * Result: ZEL_NULL_ARGUMENT for a null source. When the function refuses after the records were accepted, the
 * destination receives a copy of the source.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_Colorful(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                int32_t strength, const ZelRect* rect);

/*
 * Crisper detail.
 *
 * mode      0 sharpens with amount strength * 4 / 5; 1 and 2 sharpen only fine dark detail at low strengths
 *           (up to 30 and 40) and everything above. Any other mode does nothing: ZEL_OK with a rectangle,
 *           ZEL_REFUSED without.
 * strength  0 to 100.
 *
 * 8 bits; three channels, or one where the mode sharpens plainly. With a rectangle, plain sharpening also
 * writes the pixels that touch it. Detail sharpening takes the rectangle as given (a reversed one blends
 * nothing) and leaves up to four plainly sharpened pixels around it in a destination other than the source;
 * flat areas come out up to one level darker.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_Vivid(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                             int32_t strength, const ZelRect* rect);

/*
 * Fill flash on skin: brightens skin-coloured areas.
 *
 * mode      1, or 2 for three quarters of the strength around a point.
 * point     a pixel of the skin to brighten, or none for all skin-like hues. When the pixel there does not look like
 *           skin, the source is copied.
 * strength  0 to 100; the effect grows up to 133.
 * rect      where the skin is brightened. Its corners are taken as given: a reversed one is empty.
 * extra     ignored
 *
 * 8 bits, three channels. 16-bit images are accepted without effect: ZEL_OK, destination untouched.
 * Result: ZEL_NULL_ARGUMENT for a null image or a mode other than 1 and 2.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_SkinFlash(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                 const ZelPoint* point, int32_t strength, const ZelRect* rect,
                                                 uint32_t extra);

/*
 * The slider positions that describe a skin colour, as a start for ZelTavoraFunc_SkinTone.
 *
 * source       needed only with a point
 * reserved     ignored
 * point        the pixel whose colour is described, or none for a typical skin colour, which gives 54, 77, 12
 * lightness    output, per cent; skipped when null
 * blueBalance  the same
 * redBalance   the same
 *
 * Result: ZEL_OK; ZEL_REFUSED when the point cannot be sampled (outside the image, or not 1 or 3 channels of
 * 8 or 16 bits); then the outputs are untouched.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_GetSkinToneInitialPercentages(const ImageDesc* source, uint32_t reserved,
                                                                     const ZelPoint* point, int32_t* lightness,
                                                                     int32_t* blueBalance, int32_t* redBalance);

/*
 * Moves the colour of skin to the colour that three sliders describe.
 *
 * mode         1 or 2, without difference
 * point        a pixel of the skin to change, or none for all skin-like hues (then the typical skin colour is the one
 *              that reaches the target)
 * lightness    0 to 100 per cent; see ZelTavoraFunc_GetSkinToneInitialPercentages
 * blueBalance  the same
 * redBalance   the same
 * rect         where the skin is changed. Its corners are taken as given: a reversed one is empty.
 *
 * 8 bits, three channels. Result: ZEL_NULL_ARGUMENT for a null image or a mode other than 1 and 2;
 * ZEL_REFUSED when the point cannot be sampled; ZEL_OK otherwise, also when the image could not be processed
 * and nothing, or at 16 bits the unmasked colour change, was written.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_SkinTone(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                const ZelPoint* point, int32_t lightness, int32_t blueBalance,
                                                int32_t redBalance, const ZelRect* rect);

/*
 * Smooths skin and lifts its contrast a little; edges and everything that is not skin stay.
 *
 * mode      1, or 2 for a gentler effect up to level 50.
 * point     a pixel of the skin to smooth, or none for all skin-like hues.
 * level     0 (copies the source) to 100.
 * rect      where the skin is smoothed. Its corners are taken as given: a reversed one is empty.
 *
 * 8 bits, three channels; 16 bits and one channel are refused with a copy of the source in a separate
 * destination, and so is a point outside the image.
 * Result: ZEL_NULL_ARGUMENT for a null image or a mode other than 1 and 2.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_SkinClear(const ImageDesc* source, const ImageDesc* destination, int32_t mode,
                                                 const ZelPoint* point, int32_t level, const ZelRect* rect);

/*
 * Restores a faded, yellowed photograph: contrast and balance come back through one curve per channel,
 * measured on the whole image. A picture that shows no age stays as it is.
 *
 * mode      1 takes three quarters of the strength; any other value takes it whole.
 * strength  0 (copies the source) to 100; 50 is the measured curve, beyond it middle tones go further.
 *
 * 1 and 3 channels, 8 and 16 bits.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_AgedPhotoRecovered(const ImageDesc* source, const ImageDesc* destination,
                                                          int32_t mode, int32_t strength, const ZelRect* rect);

/*
 * Colour temperature on a scale of 0 (warmest) to 100 (coolest); 50 changes nothing.
 * Same as ZelBasicToolFunc_ColorTemperature with temperature 2 * level - 100.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_ColorTemperature(const ImageDesc* source, const ImageDesc* destination,
                                                        uint32_t reserved1, int32_t level, const ZelRect* rect,
                                                        uint32_t reserved2);

/*
 * The curve that ZelTavoraFunc_ToneEnhancement would apply, as three 256-byte tables (red, green, blue) in
 * `block`. `rect` is the part of the picture that is measured. On refusal the block holds the identity.
 * Result: ZEL_NULL_ARGUMENT, nothing written, when the source or the block is null.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_ToneEnhancement_Get1DLut(const ImageDesc* source, int32_t flag, int32_t style,
                                                                int32_t strength, const ZelRect* rect, uint8_t* block);

/*
 * The curve that ZelTavoraFunc_SmartContrast would apply, as three 256-byte tables (red, green, blue) in
 * `block`. `rect` is the part of the picture that is measured. Strength 0 gives the identity, and so does a
 * refusal. Result: ZEL_NULL_ARGUMENT, nothing written, when the source or the block is null.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_SmartContrast_Get1DLut(const ImageDesc* source, int32_t reserved,
                                                              int32_t strength, const ZelRect* rect, uint8_t* block);

/*
 * The curve that ZelTavoraFunc_ColorCast would apply, as three 256-byte tables (red, green, blue) in `block`.
 * The identity when no cast was found or the image is not of three channels and 8 bits. A null source, or one
 * without pixel data, leaves the block as it was. Result: always ZEL_OK.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_ColorCast_Get1DLut(const ImageDesc* source, uint32_t reserved, int32_t strength,
                                                          uint8_t* block);

/*
 * The colour table that ZelTavoraFunc_Colorful would apply: ZEL_LUT3D_BYTES bytes in `lattice`.
 * `rect` is the part of the picture that is measured. Strength 0 gives the identity, and so does a refusal.
 * Result: ZEL_NULL_ARGUMENT, nothing written, when the source or the lattice is null.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_Colorful_Get3DLut(const ImageDesc* source, int32_t mode, int32_t strength,
                                                         const ZelRect* rect, uint8_t* lattice);

/*
 * Applies a table of ZelTavoraFunc_Colorful_Get3DLut, or any other of its layout, with tetrahedral
 * interpolation. Mode and strength as there: mode 1 confines the table to reddish hues. Three channels; 16-bit
 * images keep 8 bits of precision and are refused in mode 1. Result: ZEL_OK or ZEL_REFUSED, the latter also for
 * null pointers.
 */
ZEL_API int32_t ZEL_CALL ZelTavoraFunc_Colorful_Apply3DLut(const ImageDesc* source, const ImageDesc* destination,
                                                           int32_t mode, int32_t strength, const ZelRect* rect,
                                                           const uint8_t* lattice);

/* Manual tools: one adjustment with the user's settings. */

/*
 * Colour temperature: -100 (warmest, as if lit at 4500 K) to 100 (coolest, 9000 K). 0 copies the source's
 * height x stride samples, rectangle or not. Three channels, 8 and 16 bits (by an 8-bit curve).
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_ColorTemperature(const ImageDesc* source, const ImageDesc* destination,
                                                           int32_t temperature, const ZelRect* rect);

/*
 * Contrast and brightness, each meant from -100 to 100 and not limited; 0 and 0 change nothing at 8 bits.
 * Contrast turns the curve about mid-grey (100 is nearly a threshold), brightness shifts it.
 * 1 and 3 channels, 8 and 16 bits.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_ContrastBrightness(const ImageDesc* source, const ImageDesc* destination,
                                                             int32_t contrast, int32_t brightness, const ZelRect* rect);

/*
 * Gamma: out = in ^ (1 / gamma), one value for red, green and blue each; above 1 brightens. Values above 10
 * count as 10, values of 0 and below and those that are no numbers as 1. `gamma` points to three floats, also
 * for one channel, which uses the first. 1 and 3 channels, 8 and 16 bits.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_Gamma(const ImageDesc* source, const ImageDesc* destination,
                                                const float* gamma, const ZelRect* rect);

/*
 * Levels: per channel (red, green, blue) the input that becomes white (`highlight`) and the one that becomes
 * black (`shadow`), both from 0 to 255 at any depth. Points that meet or cross give a hard step at the highlight.
 * 1 channel (the first entries) and 3 channels, 8 and 16 bits.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_HighlightShadow(const ImageDesc* source, const ImageDesc* destination,
                                                          const int32_t* highlight, const int32_t* shadow,
                                                          const ZelRect* rect);

/*
 * Turns all hues by `hue` degrees (limited to -180..180) and scales the saturation by `saturation` per cent
 * (limited to -100..100; -100 is grey, 100 doubles). Works through a 16 x 16 x 16 colour table, so that even
 * 0 and 0 may change a sample by one level. Three channels; 16-bit images keep 8 bits of precision.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_HueSaturation(const ImageDesc* source, const ImageDesc* destination,
                                                        int32_t hue, int32_t saturation, const ZelRect* rect);

/*
 * Hue and saturation for the whole picture and for six ranges of colour. `hues` and `saturations` hold seven
 * values: master, red, yellow, green, cyan, blue, magenta. Master hue is limited to -180..180 degrees, range
 * hues to -60..60, saturations to -100..100. Neighbouring ranges blend. Images as for
 * ZelBasicToolFunc_HueSaturation.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_HueSaturationPro(const ImageDesc* source, const ImageDesc* destination,
                                                           const int32_t* hues, const int32_t* saturations,
                                                           const ZelRect* rect);

/*
 * Removes a colour cast of a known family from the whole image.
 *
 * colour    0 finds the family by itself; 1 red, 2 yellow, 3 green, 4 cyan, 5 blue, 6 magenta. Others are refused.
 * strength  0 (keep) to 100 (neutral); not limited.
 *
 * 8 bits, three channels; a cast is only looked for in images stored blue first.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_ColorCorrect(const ImageDesc* source, const ImageDesc* destination,
                                                       int32_t colour, int32_t strength);

/*
 * Takes out the colour of the light, estimated from the surfaces and edges that it makes plausible, by
 * `strength` per cent, 0 (copies the source) to 100. The less evidence, the less changes. Three
 * channels (one-channel images have no colour to take out and are copied), 8 and 16 bits.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_LightCorrect(const ImageDesc* source, const ImageDesc* destination,
                                                       int32_t strength);

/*
 * Removes a colour cast by example: the mean colour of the rectangle becomes grey by `strength` per cent (0
 * to 100, not limited), and the whole image follows. Null measures the whole image; an empty rectangle
 * measures one pixel. 8 bits, three channels; red is taken from sample 2. Images of other channel counts are
 * copied.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_ColorCastManual(const ImageDesc* source, const ImageDesc* destination,
                                                          int32_t strength, const ZelRect* rect);

/*
 * Raises the colour of foliage.
 *
 * point   a pixel of the foliage, or none for all foliage-like hues. When the pixel there does not look like
 *         foliage, the source is copied.
 * amount  0 (copies the source) to 100.
 * rect    where the colours change; the whole image is always measured, and a last softening looks one pixel
 *         beyond it, at what the destination holds there. A reversed one is empty.
 * extra   ignored
 *
 * 8 bits, three channels.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_FoliageColorful(const ImageDesc* source, const ImageDesc* destination,
                                                          const ZelPoint* point, int32_t amount, const ZelRect* rect,
                                                          uint32_t extra);

/*
 * Brightens foliage around a clicked colour. `point` is required and must lie inside the image; when the
 * pixel there does not look like foliage, the source is copied. `amount` 0 (copies the source) to 100;
 * `extra` is ignored. 8 bits, three channels. 16-bit images are accepted without effect: ZEL_OK, destination
 * untouched. A reversed rectangle is empty.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_FoliageTone(const ImageDesc* source, const ImageDesc* destination,
                                                      const ZelPoint* point, int32_t amount, const ZelRect* rect,
                                                      uint32_t extra);

/* Raises the colour of sky. Arguments as for ZelBasicToolFunc_FoliageColorful. */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_SkyColorful(const ImageDesc* source, const ImageDesc* destination,
                                                      const ZelPoint* point, int32_t amount, const ZelRect* rect,
                                                      uint32_t extra);

/* Brightens sky around a clicked colour. Arguments as for ZelBasicToolFunc_FoliageTone. */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_SkyTone(const ImageDesc* source, const ImageDesc* destination,
                                                  const ZelPoint* point, int32_t amount, const ZelRect* rect,
                                                  uint32_t extra);

/* Raises the colour of skin. Arguments as for ZelBasicToolFunc_FoliageColorful. */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_SkinColorful(const ImageDesc* source, const ImageDesc* destination,
                                                       const ZelPoint* point, int32_t amount, const ZelRect* rect,
                                                       uint32_t extra);

/*
 * Noise reduction by wavelet shrinkage. `strength` 0 copies the source; 1 to 100, higher values go on
 * growing. The whole image is always processed: `rect` only limits the copy at strength 0. 8 bits. Three
 * channels; the fourth sample of a pixel is not written; one-channel images are filtered three times at
 * neighbouring positions and are better passed as three equal channels.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_DeNoise(const ImageDesc* source, const ImageDesc* destination,
                                                  uint32_t strength, const ZelRect* rect);

/*
 * Sharpens with a 3 x 3 kernel. `amount` 0 changes nothing, 50 is moderate, 100 strong; odd amounts brighten
 * flat areas by about 2 per cent. The pixels that touch the rectangle are written too. 1 and 3 channels, 8
 * bits.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_Sharpen(const ImageDesc* source, const ImageDesc* destination, int32_t amount,
                                                  const ZelRect* rect);

/*
 * Gaussian blur. `radius` is the standard deviation in pixels; radii that leave a single tap (below about
 * 0.3, negative or not a number) copy the whole image; the kernel reaches at most 60 pixels. 1 and 3
 * channels, 8 and 16 bits.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_GaussianBlur(const ImageDesc* source, const ImageDesc* destination,
                                                       float radius, const ZelRect* rect);

/*
 * Unsharp mask.
 *
 * amount     per cent; 100 adds the difference to the blurred picture once at 8 bits. At 16 bits the effect of the
 *            same amount is 256 times stronger.
 * radius     standard deviation of the blur, limited to 0.1..10 pixels
 * threshold  differences up to it are left alone; 0 to 255 at any depth
 *
 * 1 and 3 channels, 8 and 16 bits. An image that cannot be blurred is refused with a copy of the source in a
 * separate destination.
 */
ZEL_API int32_t ZEL_CALL ZelBasicToolFunc_UnsharpMask(const ImageDesc* source, const ImageDesc* destination,
                                                      int32_t amount, float radius, uint32_t threshold,
                                                      const ZelRect* rect);

#ifdef __cplusplus
}
#endif

#endif /* ZEL_H_ */
