/*
 * Zel's operations by name, on pixels as a host has them: "light-correct strength=60 vivid".
 *
 * zel.h is one function per adjustment for records that fit it. This library stands on it and adds what hosts otherwise
 * write themselves: a table of all operations, chains from words or recipes, layouts (grey, alpha, row steps, red or
 * blue first), 16 bits, progress, tables that carry a chain elsewhere. It opens no file and knows no codec.
 *
 *   ZelReport report;
 *   ZelChain* chain = ZelChain_ParseLine("light-correct vivid strength=20", 31, &report);
 *   if (!chain) puts(report.text);
 *   ZelPixels photo = {pixels, 0, width, height, 4, 8, 0};
 *   if (ZelChain_Apply(chain, &photo, &photo, NULL, &report) != ZEL_OK) puts(report.text);
 *   ZelChain_Free(chain);
 *
 * Common to all functions:
 *
 * Threads   No function keeps state or starts a thread. Chains, measured chains and tables never change once they are
 *           made: any number of threads may use one.
 * Memory    What a function returns as a pointer without const belongs to the caller, who frees it with the function
 *           named. Failed allocations are ZEL_CHAIN_NO_MEMORY. Nothing is thrown.
 * Reports   Every pointer to a ZelReport may be null. A function that fails returns null or a code and fills it in.
 * Text      UTF-8. Texts given with their length need no zero at the end.
 */
#ifndef ZEL_CHAIN_H_
#define ZEL_CHAIN_H_

#include <stddef.h>
#include <stdint.h>

#include "zel.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(ZEL_STATIC)
#define ZEL_CHAIN_API
#elif defined(_WIN32)
#ifdef ZEL_CHAIN_BUILDING
#define ZEL_CHAIN_API __declspec(dllexport)
#else
#define ZEL_CHAIN_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ZEL_CHAIN_API __attribute__((visibility("default")))
#else
#define ZEL_CHAIN_API
#endif

/* Result codes besides ZEL_OK, ZEL_NULL_ARGUMENT and ZEL_REFUSED (an operation does not take this picture). */
#define ZEL_CHAIN_WRONG_TEXT -20   /* words, a recipe or a table cannot be read; text and position say where */
#define ZEL_CHAIN_CANCELLED -21    /* the progress callback asked to stop */
#define ZEL_CHAIN_NO_MEMORY -22    /* memory ran out */
#define ZEL_CHAIN_BAD_PIXELS -23   /* a description of pixels that fits no memory, or two that do not fit each other */
#define ZEL_CHAIN_OUTSIDE -24      /* a point or rectangle lies outside the picture */
#define ZEL_CHAIN_NEEDS_COLOUR -25 /* the result has colours and the destination has none */
#define ZEL_CHAIN_NO_TABLE -26     /* these operations cannot become a table */

/* How a call ended. The caller need not fill it in before. */
typedef struct ZelReport {
  int32_t code;     /* what the function returned; of functions that return pointers: ZEL_OK, or why there is none */
  int32_t step;     /* the operation of the chain that it is about, from 0; -1 none */
  int32_t position; /* in texts the byte, among words the word, from 0, where reading stopped; -1 none */
  int32_t call;     /* what the function of zel.h answered when it refused; else 0 */
  int32_t changed;  /* after a failure: 1 when the destination may no longer hold what it held */
  int32_t grey;     /* after success: 1 when a grey source gave a result without colour, whatever the destination */
  char text[512];   /* one line for a person, without full stop; empty after success */
  char notes[1024]; /* what a person should know after success, one per line; mostly empty */
} ZelReport;

/*
 * Pixels in the caller's memory. Sample k of pixel x in row y lies at byte
 * y * rowBytes + (x * channels + k) * bits / 8 from `data`. Row padding is neither read nor written, so the memory may
 * end with the last pixel.
 */
typedef struct ZelPixels {
  void* data; /* first sample of the upper row; any address, also odd ones at 16 bits */
  ptrdiff_t
      rowBytes;      /* from one row to the next; negative when rows are stored upwards; 0: they follow without a gap */
  int32_t width;     /* 1 or more */
  int32_t height;    /* 1 or more */
  int32_t channels;  /* 1 grey, 2 grey and alpha, 3 colour, 4 colour and alpha (not premultiplied) */
  int32_t bits;      /* 8, or 16 in the machine's byte order */
  int32_t blueFirst; /* 0: red, green, blue; 1: blue, green, red */
} ZelPixels;

/*
 * How a chain meets a picture. Null in its place, and 0 in every field but `size`, mean what stands in brackets.
 *
 * Tiles: a measured chain may get any part of the picture at a time. wholeWidth and wholeHeight are the size of the
 * whole picture, left and top where the part lies in it; all in stored pixels.
 */
typedef struct ZelApplyOptions {
  uint32_t size;       /* sizeof(ZelApplyOptions) */
  int32_t orientation; /* EXIF, 1 to 8 [1]: how the stored picture is turned for showing. Points and rectangles count in
                          the picture as it is shown. */
  int32_t wholeWidth, wholeHeight, left, top; /* [the pixels are the whole picture] */
  /* Called in the calling thread with the share done from 0 to 1; an answer other than 0 before 1 cancels. Before every
   * operation and at the end; inside an operation that looks at no more than the pixels around (those whose margin is
   * not -1) after each part of at most some million pixels; inside noise reduction about a hundred times at 24
   * megapixels. Any other operation, one that measures the picture or works through a mask (skin, sky, foliage), can be
   * cancelled only before it. Listening changes no byte. */
  int32_t(ZEL_CALL* progress)(void* user, double done);
  void* user;
} ZelApplyOptions;

/* ---- The table of operations ---- */

/*
 * All operations as JSON; valid until the library is unloaded. Null only when memory ran out.
 *
 * {"schema": 1, "version": "2.1.0", "operations": [{
 *   "name": "hue-saturation",        how it is called in words and recipes
 *   "title": "Hue saturation",       for menus
 *   "group": "colour",               tone, colour, selective, skin or detail; operations of a group stand together
 *   "purpose": "Turns ...",          one sentence
 *   "more": "...",                   further sentences; may be empty
 *   "examples": ["saturation=20", "saturation=40", "hue=60 saturation=10"],     mild, middle, strong
 *   "reach": "lattice",              what a result pixel depends on: "curve" each channel on itself, "lattice" the
 *                                    pixel's colour, "neighbours" pixels around it, "mask" where a kind of thing is
 *   "measures": false,               looks at the whole picture before it changes a pixel
 *   "margin": 0,                     pixels around it that a result pixel depends on, at most; -1: all of them
 *   "blueFirst": false,              the function behind it wants blue first (chains arrange that)
 *   "grey": false,                   takes one channel; otherwise grey pictures run as three equal channels
 *   "depth": "difference",           at 16 bits: "full" in all 16 bits; "curve" by an 8-bit curve with straight lines
 *                                    between its 256 values; "difference" the change found on an 8-bit copy is added
 *   "depthText": "8 bits; at ...",   the same as a sentence, likewise "reachText" and "channelsText"
 *   "parameters": [{
 *     "name": "hue",
 *     "title": "Hue",
 *     "type": "integer",             integer, number, choice, integers (three: red, green, blue), numbers (three),
 *                                    rect, point
 *     "least": -180, "most": 180,    of integer(s) and number(s)
 *     "step": 1,                     a sensible step for a slider
 *     "default": 0,                  as in a recipe; null when the parameter may be left out
 *     "unit": "degrees",             may be empty
 *     "choices": ["all", "skin"],    of a choice
 *     "meaning": "turn of ...",
 *     "values": "a whole number from -180 to 180 degrees"}]}]}
 *
 * Readers ignore keys that they do not know; `schema` grows when the meaning of one changes.
 */
ZEL_CHAIN_API const char* ZEL_CALL ZelChain_Table(void);

/* The number of the operation in the table; -1 when there is none of that name. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Find(const char* operation);

/* Which of `names` a mistyped `name` was probably meant to be; -1 when none is near. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Nearest(const char* name, const char* const* names, size_t count);

/* ---- Chains ---- */

/* Operations with checked settings, one after another. */
typedef struct ZelChain ZelChain;

/*
 * Reads words: a name of an operation, then its settings as name=value, then the next. No words give an empty chain,
 * which changes nothing. Numbers may end in % where the unit is per cent. Points and rectangles are in pixels or per
 * cent: at=120,80 rect=10%,10%,50%,90%.
 * Null and ZEL_CHAIN_WRONG_TEXT for an unknown operation or setting or a value out of range.
 */
ZEL_CHAIN_API ZelChain* ZEL_CALL ZelChain_ParseWords(const char* const* words, size_t count, ZelReport* report);

/* The same from one text, words separated by white space. */
ZEL_CHAIN_API ZelChain* ZEL_CALL ZelChain_ParseLine(const char* text, size_t bytes, ZelReport* report);

/*
 * Reads {"operations": [{"name": "contrast", "contrast": 30}, ...]}; values are numbers, texts as words have them, or
 * lists of numbers.
 */
ZEL_CHAIN_API ZelChain* ZEL_CALL ZelChain_ParseRecipe(const char* json, size_t bytes, ZelReport* report);

/* The operations of both, one chain after the other. */
ZEL_CHAIN_API ZelChain* ZEL_CALL ZelChain_Join(const ZelChain* first, const ZelChain* second, ZelReport* report);

/*
 * Looks at a photograph and chooses what makes it better: light, tone, colour, a little sharpness, each only where the
 * measurement calls for it; a good photograph gets an empty or nearly empty chain. `strength` from 0 to 100, 50 as one
 * would. The result is a chain like any other; the report's notes give one reason a line.
 */
ZEL_CHAIN_API ZelChain* ZEL_CALL ZelChain_Auto(const ZelPixels* photo, int32_t strength, const ZelApplyOptions* options,
                                               ZelReport* report);

ZEL_CHAIN_API void ZEL_CALL ZelChain_Free(ZelChain* chain);

/* The chain as words in one line, as a recipe, and as JSON with every setting that holds; valid as long as the chain.
 *
 * ZelChain_Describe: [{"name": "vivid", "given": {"strength": 20}, "settings": {"strength": 20, "style": "plain"},
 * "reach": "neighbours", "measures": false, "margin": 1, "blueFirst": false, "depth": "difference"}, ...]; margin is
 * that of these settings.
 */
ZEL_CHAIN_API const char* ZEL_CALL ZelChain_Words(const ZelChain* chain);
ZEL_CHAIN_API const char* ZEL_CALL ZelChain_Recipe(const ZelChain* chain);
ZEL_CHAIN_API const char* ZEL_CALL ZelChain_Describe(const ZelChain* chain);

/* The number of operations; that of one in the table (-1 when there is no such step); and how many pixels around it a
 * result pixel of the chain depends on, -1 for the whole picture. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Steps(const ZelChain* chain);
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Operation(const ZelChain* chain, int32_t step);
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Margin(const ZelChain* chain);

/* Where a step works in a picture of this size, in stored pixels: writes its rectangle and point (either may be null)
 * as far as they are given, and returns 1 for a rectangle plus 2 for a point. 0 with ZEL_CHAIN_OUTSIDE when they lie
 * outside. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Where(const ZelChain* chain, int32_t step, const ZelPixels* picture,
                                              const ZelApplyOptions* options, ZelRect* rect, ZelPoint* point,
                                              ZelReport* report);

/*
 * Runs the chain on `source` and writes the result to `destination`, which has the same size and depth; it may be the
 * same memory with the same description, or memory that does not overlap. Channels, row step and order may differ:
 * alpha is copied, or full where only the destination has it; grey becomes three equal channels. A grey destination
 * takes results without colour (no more than 2 levels of 255 apart); ZEL_CHAIN_NEEDS_COLOUR, with the destination
 * untouched, otherwise and for colour sources.
 *
 * One operation on red-green-blue or blue-green-red pixels gives the bytes of its function of zel.h, also at 16 bits
 * where its depth is "full" or "curve". Several run without rounding to 8 bits in between.
 *
 * A call that fails before the first pixel is changed leaves the destination as it was; report->changed tells.
 *
 * Chains work right in a destination of three channels (or one, where all operations take grey) with rows downwards.
 * Other layouts go through parts of about a million pixels, or, when an operation looks further than at one pixel,
 * through a copy of the colours; 16-bit pixels get an 8-bit copy for operations of depth "difference".
 */
ZEL_CHAIN_API int32_t ZEL_CALL ZelChain_Apply(const ZelChain* chain, const ZelPixels* source,
                                              const ZelPixels* destination, const ZelApplyOptions* options,
                                              ZelReport* report);

/* ---- Measured chains: look once, apply in parts ---- */

typedef struct ZelMeasured ZelMeasured;

/* Flags of a measured chain. */
#define ZEL_MEASURED_TILES 1 /* parts with their margin give the bytes that the whole picture gives */
#define ZEL_MEASURED_EXACT 2 /* on the picture that was measured it gives, at 8 bits, the bytes of ZelChain_Apply */

/*
 * Runs the chain on `picture`, which is not changed, and keeps what the automatic operations decided. The picture may
 * be a reduced one of what the chain will be applied to; then give points and rectangles in per cent. Operations whose
 * decision is no curve and no colour table (mask; noise reduction) measure again wherever they are applied, and the
 * tile flag is missing.
 */
ZEL_CHAIN_API ZelMeasured* ZEL_CALL ZelChain_Measure(const ZelChain* chain, const ZelPixels* picture,
                                                     const ZelApplyOptions* options, ZelReport* report);
ZEL_CHAIN_API void ZEL_CALL ZelMeasured_Free(ZelMeasured* measured);

ZEL_CHAIN_API int32_t ZEL_CALL ZelMeasured_Flags(const ZelMeasured* measured);

/* Pixels that a part needs around the pixels whose results are wanted (fewer at the picture's edges); -1: all. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelMeasured_Margin(const ZelMeasured* measured);

/*
 * What a step decided: copies ZEL_LUT1D_BYTES (a curve each for red, green, blue) or ZEL_LUT3D_BYTES (a lattice) to
 * `block`, which has room for ZEL_LUT3D_BYTES, and returns their number; 0 for steps that keep neither.
 */
ZEL_CHAIN_API int32_t ZEL_CALL ZelMeasured_Block(const ZelMeasured* measured, int32_t step, uint8_t* block);

/* As ZelChain_Apply, with the decisions that were kept; pixels may be a part of the picture, as the options say. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelMeasured_Apply(const ZelMeasured* measured, const ZelPixels* source,
                                                 const ZelPixels* destination, const ZelApplyOptions* options,
                                                 ZelReport* report);

/* ---- Tables: one colour in, one colour out ---- */

/* Curves of 2 to 65536 rows, or a lattice of 2 to 129 nodes an axis. */
typedef struct ZelTable ZelTable;

/* How far a baked table lies from the operations themselves, in levels of 255 over all samples. */
typedef struct ZelBakeError {
  double most, mean;
  double overOne; /* share of the samples that differ by more than one level, 0 to 1 */
} ZelBakeError;

/*
 * One table that does what the chain does at 8 bits. Automatic operations measure `photo`, which may be null when there
 * are none. `nodes` from 2 to 129 makes a lattice; 0 chooses: 256 rows, exactly, when every operation is a curve, else
 * a lattice of 16 nodes when the chain is a single colour table and 52 otherwise. `error`, when not null, receives the
 * distance on the photograph, or, without one, on a set of 35,937 colours spread over all. ZEL_CHAIN_NO_TABLE when an
 * operation looks at neighbours or works in places, or has no photograph to measure.
 */
ZEL_CHAIN_API ZelTable* ZEL_CALL ZelChain_Bake(const ZelChain* chain, const ZelPixels* photo, int32_t nodes,
                                               const ZelApplyOptions* options, ZelBakeError* error, ZelReport* report);

/* A table from `rows` x 3 numbers from 0 to 1: red, green, blue results. `lattice` 0: `size` rows, each column the
 * curve of one channel; 1: size x size x size nodes, red varies fastest. Domains are the inputs of the first and last
 * row, three numbers each; null: 0 and 1. */
ZEL_CHAIN_API ZelTable* ZEL_CALL ZelTable_FromRows(const double* rows, int32_t size, int32_t lattice,
                                                   const double* domainMin, const double* domainMax, ZelReport* report);

/* Reads the text of a .cube file. */
ZEL_CHAIN_API ZelTable* ZEL_CALL ZelTable_ReadCube(const char* text, size_t bytes, ZelReport* report);

/* Reads the pixels of a HaldCLUT picture: square, three or four channels, a side of n x n x n pixels. */
ZEL_CHAIN_API ZelTable* ZEL_CALL ZelTable_ReadHald(const ZelPixels* picture, ZelReport* report);

/* The same mapping with another number of nodes, 2 to 129, or as a lattice. */
ZEL_CHAIN_API ZelTable* ZEL_CALL ZelTable_Resample(const ZelTable* table, int32_t nodes, ZelReport* report);

ZEL_CHAIN_API void ZEL_CALL ZelTable_Free(ZelTable* table);

/* Rows or nodes an axis; whether it is a lattice; its rows of three doubles. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelTable_Size(const ZelTable* table);
ZEL_CHAIN_API int32_t ZEL_CALL ZelTable_IsLattice(const ZelTable* table);
ZEL_CHAIN_API const double* ZEL_CALL ZelTable_Rows(const ZelTable* table);

/* The text of a .cube or CLF file, ended by zero, with its length in `bytes` (may be null); freed by ZelText_Free.
 * `comment` (may be null) goes in as one line. */
ZEL_CHAIN_API char* ZEL_CALL ZelTable_WriteCube(const ZelTable* table, const char* comment, size_t* bytes,
                                                ZelReport* report);
ZEL_CHAIN_API char* ZEL_CALL ZelTable_WriteClf(const ZelTable* table, const char* comment, size_t* bytes,
                                               ZelReport* report);
ZEL_CHAIN_API void ZEL_CALL ZelText_Free(char* text);

/* Pixels on a side of the HaldCLUT picture of a table (tables of other than n x n nodes are resampled to 64), and the
 * depth that holds it exactly or best, 8 or 16; and its pixels, written to a picture of that size. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelTable_HaldSide(const ZelTable* table);
ZEL_CHAIN_API int32_t ZEL_CALL ZelTable_HaldBits(const ZelTable* table);
ZEL_CHAIN_API int32_t ZEL_CALL ZelTable_WriteHald(const ZelTable* table, const ZelPixels* destination,
                                                  ZelReport* report);

/* Maps every pixel: curves linear between rows, lattices tetrahedral between nodes. Layouts as for ZelChain_Apply. */
ZEL_CHAIN_API int32_t ZEL_CALL ZelTable_Apply(const ZelTable* table, const ZelPixels* source,
                                              const ZelPixels* destination, const ZelApplyOptions* options,
                                              ZelReport* report);

#ifdef __cplusplus
}
#endif

#endif /* ZEL_CHAIN_H_ */
