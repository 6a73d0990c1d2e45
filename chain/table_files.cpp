// Tables in the forms that other programs read: .cube, CLF and HaldCLUT pictures.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "chain.h"
#include "pixels.h"
#include "table.h"

namespace zel::chain {

namespace {

bool Wrong(size_t line, const std::string& what, Error* error) {
  return error->Fail(ZEL_CHAIN_WRONG_TEXT, "line " + std::to_string(line) + ": " + what);
}

// Without the locale that the standard functions look at.
bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
std::string Upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words;
  for (size_t i = 0; i < text.size();) {
    const size_t start = i;
    while (i < text.size() && !IsSpace(text[i])) ++i;
    if (i > start) words.emplace_back(text.substr(start, i - start));
    while (i < text.size() && IsSpace(text[i])) ++i;
  }
  return words;
}

// The words after the first `from` as exactly `count` numbers.
bool Numbers(const std::vector<std::string>& words, size_t from, size_t count, size_t line, Row* numbers,
             Error* error) {
  for (size_t i = from; i < words.size(); ++i) {
    double value;
    if (!ParseNumber(words[i], &value)) return Wrong(line, words[i] + " is not a number", error);
    if (i - from < count) (*numbers)[i - from] = value;
  }
  return words.size() - from == count ||
         Wrong(line, std::to_string(count) + " numbers are needed, " + std::to_string(words.size() - from) + " found",
               error);
}

// A keyword line of .cube.
bool Keyword(const std::vector<std::string>& words, size_t line, ZelTable* table, Error* error) {
  const std::string key = Upper(words[0]);
  Row n{};
  if (key == "TITLE") return true;
  if (key == "LUT_1D_SIZE" || key == "LUT_3D_SIZE") {
    if (table->size != 0) return Wrong(line, "a second size; files with two tables cannot be read", error);
    if (!Numbers(words, 1, 1, line, &n, error)) return false;
    table->lattice = key == "LUT_3D_SIZE";
    const int32_t most = table->lattice ? kMostNodes : kMostRows;
    if (n[0] < 2 || n[0] > most || n[0] != std::floor(n[0])) {
      return Wrong(line, words[0] + " must be a whole number from 2 to " + std::to_string(most), error);
    }
    table->size = static_cast<int32_t>(n[0]);
    return true;
  }
  if (key == "DOMAIN_MIN" || key == "DOMAIN_MAX") {
    return Numbers(words, 1, 3, line, key == "DOMAIN_MIN" ? &table->domainMin : &table->domainMax, error);
  }
  if (key == "LUT_1D_INPUT_RANGE" || key == "LUT_3D_INPUT_RANGE") {
    if (!Numbers(words, 1, 2, line, &n, error)) return false;
    table->domainMin = {n[0], n[0], n[0]};
    table->domainMax = {n[1], n[1], n[1]};
    return true;
  }
  return Wrong(line, "unknown keyword " + words[0], error);
}

bool CubeLine(std::string_view content, size_t line, ZelTable* table, Error* error) {
  // A title may hold the sign that begins a comment.
  if (Upper(std::string(content.substr(0, 5))) != "TITLE") content = content.substr(0, content.find('#'));
  const std::vector<std::string> words = Words(content);
  if (words.empty()) return true;
  if (IsLetter(words[0][0])) {
    if (!table->rows.empty()) return Wrong(line, "the keyword " + words[0] + " stands among the values", error);
    return Keyword(words, line, table, error);
  }
  if (table->size == 0) return Wrong(line, "values before LUT_1D_SIZE or LUT_3D_SIZE", error);
  Row row{};
  if (!Numbers(words, 0, 3, line, &row, error)) return false;
  if (table->rows.size() == RowCount(*table)) {
    return Wrong(line, "more values than the size of " + std::to_string(table->size) + " says", error);
  }
  table->rows.push_back(row);
  return true;
}

bool ReadCube(std::string_view text, ZelTable* table, Error* error) {
  size_t line = 0, at = text.substr(0, 3) == "\xEF\xBB\xBF" ? 3 : 0;
  while (at < text.size()) {
    const size_t end = std::min(text.find_first_of("\r\n", at), text.size());
    if (!CubeLine(text.substr(at, end - at), ++line, table, error)) {
      error->position = static_cast<int32_t>(std::min<size_t>(at, INT32_MAX));
      return false;
    }
    at = end + 1 + (text.substr(end, 2) == "\r\n");
  }
  if (table->size == 0) return error->Fail(ZEL_CHAIN_WRONG_TEXT, "holds neither LUT_1D_SIZE nor LUT_3D_SIZE");
  if (table->rows.size() != RowCount(*table)) {
    return Wrong(line,
                 "the file ends after " + std::to_string(table->rows.size()) + " of " +
                     std::to_string(RowCount(*table)) + " rows",
                 error);
  }
  return CheckTable(*table, error);
}

// A comment in one line.
std::string OneLine(const char* comment) {
  std::string text = comment != nullptr ? comment : "";
  for (char& c : text) c = static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  return text;
}

std::string RowText(const Row& row, int digits) {
  return FixedText(row[0], digits) + " " + FixedText(row[1], digits) + " " + FixedText(row[2], digits) + "\n";
}

std::string CubeText(const ZelTable& table, const char* comment) {
  std::string text = "# " + OneLine(comment) + "\n";
  text += (table.lattice ? "LUT_3D_SIZE " : "LUT_1D_SIZE ") + std::to_string(table.size) + "\n";
  if (table.domainMin != Row{0, 0, 0}) text += "DOMAIN_MIN " + RowText(table.domainMin, 9);
  if (table.domainMax != Row{1, 1, 1}) text += "DOMAIN_MAX " + RowText(table.domainMax, 9);
  for (const Row& row : table.rows) text += RowText(row, 9);
  return text;
}

std::string ClfText(const ZelTable& table, const char* comment) {
  std::string escaped;
  for (char c : OneLine(comment)) escaped += c == '<' ? "&lt;" : c == '&' ? "&amp;" : std::string(1, c);
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProcessList id=\"zel\" compCLFversion=\"3\">\n";
  text += "  <Description>" + escaped + "</Description>\n";
  const bool whole = IsWhole(table);
  const std::string kind = table.lattice ? "LUT3D" : "LUT1D", size = std::to_string(table.size);
  const std::string depth = whole ? "8i" : "32f";
  text += "  <" + kind + " inBitDepth=\"" + depth + "\" outBitDepth=\"" + depth + "\" interpolation=\"" +
          (table.lattice ? "tetrahedral" : "linear") + "\">\n    <Array dim=\"" +
          (table.lattice ? size + " " + size + " " + size : size) + " 3\">\n";
  const size_t n = static_cast<size_t>(table.size);
  for (size_t i = 0; i < table.rows.size(); ++i) {
    // In CLF blue varies fastest.
    const Row& row = table.rows[table.lattice ? i / (n * n) + i / n % n * n + i % n * n * n : i];
    text += whole ? RowText({std::round(row[0] * 255), std::round(row[1] * 255), std::round(row[2] * 255)}, 0)
                  : RowText(row, 9);
  }
  return text + "    </Array>\n  </" + kind + ">\n</ProcessList>\n";
}

// A square picture of level x level x level pixels a side holds level x level nodes an axis.
int32_t HaldLevel(int32_t nodes) {
  const int32_t level = static_cast<int32_t>(std::lround(std::sqrt(nodes)));
  return level * level == nodes ? level : 0;
}

constexpr int32_t kHaldNodes = 64;  // of tables that fit no level

bool FitsHald(const ZelTable& table) {
  return table.lattice && HaldLevel(table.size) != 0 && table.domainMin == Row{0, 0, 0} &&
         table.domainMax == Row{1, 1, 1};
}

// One row of the picture, red first.
bool MakeRow(const ZelPixels& picture, Work* row, Buffer* buffer, Error* error) {
  row->width = picture.width;
  row->height = 1;
  row->bits = picture.bits;
  row->blueFirst = false;
  return row->Allocate(buffer) || error->Fail(ZEL_CHAIN_NO_MEMORY, "");
}

bool ReadHald(const ZelPixels& picture, ZelTable* table, Error* error) {
  const int32_t level = static_cast<int32_t>(std::lround(std::cbrt(picture.width)));
  table->lattice = true;
  table->size = level * level;
  if (picture.width != picture.height || level * level * level != picture.width || level < 2 ||
      table->size > kMostNodes) {
    return error->Fail(ZEL_CHAIN_WRONG_TEXT,
                       "is no HaldCLUT picture: those are square, 8, 27, 64, 125, 216, 343, 512... pixels wide");
  }
  Work row;
  Buffer buffer;
  if (!MakeRow(picture, &row, &buffer, error)) return false;
  for (int32_t y = 0; y < picture.height; ++y) {
    Unpack(picture, y, row);
    for (size_t i = 0; i < row.RowSamples(); i += 3) {
      Row colour;
      for (size_t c = 0; c < 3; ++c) {
        colour[c] = row.bits == 8 ? row.data[i + c] / 255.0 : reinterpret_cast<uint16_t*>(row.data)[i + c] / 65535.0;
      }
      table->rows.push_back(colour);
    }
  }
  return true;
}

bool WriteHald(const ZelTable& table, const ZelPixels& destination, Error* error) {
  Work row;
  Buffer buffer;
  if (!MakeRow(destination, &row, &buffer, error)) return false;
  size_t next = 0;
  for (int32_t y = 0; y < destination.height; ++y) {
    for (size_t i = 0; i < row.RowSamples(); i += 3, ++next) {
      for (size_t c = 0; c < 3; ++c) {
        const double value = std::clamp(table.rows[next][c], 0.0, 1.0);
        if (row.bits == 8) {
          row.data[i + c] = static_cast<uint8_t>(value * 255 + 0.5);
        } else {
          reinterpret_cast<uint16_t*>(row.data)[i + c] = static_cast<uint16_t>(value * 65535 + 0.5);
        }
      }
    }
    ZelPixels opaque = destination;
    opaque.channels = 3;  // where there is alpha, it is full
    Pack(row, destination, y, opaque);
  }
  return true;
}

// Text for the caller.
char* Given(ZelReport* report, const ZelTable* table, size_t* bytes, const char* comment,
            std::string (*make)(const ZelTable&, const char*)) {
  char* copy = nullptr;
  if (bytes != nullptr) *bytes = 0;
  Guarded(report, [&](Error* error) {
    if (table == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the table is null");
    const std::string text = make(*table, comment);
    copy = new (std::nothrow) char[text.size() + 1];
    if (copy == nullptr) return error->Fail(ZEL_CHAIN_NO_MEMORY, "");
    std::memcpy(copy, text.c_str(), text.size() + 1);
    if (bytes != nullptr) *bytes = text.size();
    return true;
  });
  return copy;
}

}  // namespace

}  // namespace zel::chain

using namespace zel::chain;

ZelTable* ZEL_CALL ZelTable_ReadCube(const char* text, size_t bytes, ZelReport* report) {
  return Made<ZelTable>(report, [&](ZelTable* table, Error* error) {
    if (text == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the text is null");
    return ReadCube({text, bytes}, table, error);
  });
}

ZelTable* ZEL_CALL ZelTable_ReadHald(const ZelPixels* picture, ZelReport* report) {
  return Made<ZelTable>(report, [&](ZelTable* table, Error* error) {
    return CheckPixels(picture, "picture", error) && ReadHald(*picture, table, error);
  });
}

char* ZEL_CALL ZelTable_WriteCube(const ZelTable* table, const char* comment, size_t* bytes, ZelReport* report) {
  return Given(report, table, bytes, comment, CubeText);
}

char* ZEL_CALL ZelTable_WriteClf(const ZelTable* table, const char* comment, size_t* bytes, ZelReport* report) {
  return Given(report, table, bytes, comment, ClfText);
}

void ZEL_CALL ZelText_Free(char* text) {
  delete[] text;
}

int32_t ZEL_CALL ZelTable_HaldSide(const ZelTable* table) {
  if (table == nullptr) return 0;
  const int32_t level = HaldLevel(FitsHald(*table) ? table->size : kHaldNodes);
  return level * level * level;
}

int32_t ZEL_CALL ZelTable_HaldBits(const ZelTable* table) {
  return table != nullptr && FitsHald(*table) && IsWhole(*table) ? 8 : 16;
}

int32_t ZEL_CALL ZelTable_WriteHald(const ZelTable* table, const ZelPixels* destination, ZelReport* report) {
  return Guarded(report, [&](Error* error) {
    if (table == nullptr) return error->Fail(ZEL_NULL_ARGUMENT, "the table is null");
    const int32_t side = ZelTable_HaldSide(table);
    if (!CheckPixels(destination, "destination", error)) return false;
    if (destination->width != side || destination->height != side || IsGrey(*destination)) {
      return error->Fail(ZEL_CHAIN_BAD_PIXELS, "the picture of this table is " + std::to_string(side) +
                                                   " pixels wide and high and has colours");
    }
    if (FitsHald(*table)) return WriteHald(*table, *destination, error);
    ZelTable fitting;
    Resample(*table, kHaldNodes, &fitting);
    return WriteHald(fitting, *destination, error);
  });
}
