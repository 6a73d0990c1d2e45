#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "failure.h"
#include "table.h"

namespace tool {
namespace {

using Row = std::array<double, 3>;

constexpr int kMostRows = 65536, kMostNodes = 129;

[[noreturn]] void Wrong(size_t line, const std::string& what) {
  throw Failure("line " + std::to_string(line) + ": " + what);
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

std::vector<std::string> Words(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (char c : text + ' ') {
    if (!std::isspace(static_cast<unsigned char>(c))) {
      word += c;
    } else if (!word.empty()) {
      words.push_back(std::move(word));
      word.clear();
    }
  }
  return words;
}

bool Number(const std::string& word, double* value) {
  if (word.find_first_not_of("0123456789+-.eE") != std::string::npos) return false;
  char* end = nullptr;
  *value = std::strtod(word.c_str(), &end);
  return end != word.c_str() && *end == '\0' && std::isfinite(*value);
}

std::vector<double> Numbers(const std::vector<std::string>& words, size_t from, size_t count, size_t line) {
  std::vector<double> numbers;
  for (size_t i = from; i < words.size(); ++i) {
    double value;
    if (!Number(words[i], &value)) Wrong(line, words[i] + " is not a number");
    numbers.push_back(value);
  }
  if (numbers.size() != count) {
    Wrong(line, std::to_string(count) + " numbers are needed, " + std::to_string(numbers.size()) + " found");
  }
  return numbers;
}

size_t RowCount(const Table& table) {
  const size_t n = static_cast<size_t>(table.size);
  return table.cube ? n * n * n : n;
}

// A keyword line of .cube.
void Keyword(const std::vector<std::string>& words, size_t line, Table* table) {
  const std::string key = Upper(words[0]);
  if (key == "TITLE") return;
  if (key == "LUT_1D_SIZE" || key == "LUT_3D_SIZE") {
    if (table->size != 0) Wrong(line, "a second size; files with two tables cannot be read");
    table->cube = key == "LUT_3D_SIZE";
    const double size = Numbers(words, 1, 1, line)[0];
    const int most = table->cube ? kMostNodes : kMostRows;
    if (size < 2 || size > most || size != std::floor(size)) {
      Wrong(line, words[0] + " must be a whole number from 2 to " + std::to_string(most));
    }
    table->size = static_cast<int>(size);
  } else if (key == "DOMAIN_MIN" || key == "DOMAIN_MAX") {
    const std::vector<double> n = Numbers(words, 1, 3, line);
    (key == "DOMAIN_MIN" ? table->domainMin : table->domainMax) = {n[0], n[1], n[2]};
  } else if (key == "LUT_1D_INPUT_RANGE" || key == "LUT_3D_INPUT_RANGE") {
    const std::vector<double> n = Numbers(words, 1, 2, line);
    table->domainMin = {n[0], n[0], n[0]};
    table->domainMax = {n[1], n[1], n[1]};
  } else {
    Wrong(line, "unknown keyword " + words[0]);
  }
}

void CheckDomain(const Table& table) {
  for (size_t c = 0; c < 3; ++c) {
    if (!(table.domainMin[c] < table.domainMax[c])) throw Failure("the domain's minimum must lie below its maximum");
  }
}

// The value of an attribute in an XML tag; empty when it is missing.
std::string Attribute(const std::string& tag, const std::string& name) {
  for (size_t at = tag.find(name); at != std::string::npos; at = tag.find(name, at + 1)) {
    size_t next = at + name.size();
    if (at == 0 || !std::isspace(static_cast<unsigned char>(tag[at - 1]))) continue;
    while (next < tag.size() && std::isspace(static_cast<unsigned char>(tag[next]))) ++next;
    if (next >= tag.size() || tag[next] != '=') continue;
    const size_t open = tag.find_first_of("\"'", next);
    if (open == std::string::npos) return "";
    const size_t close = tag.find(tag[open], open + 1);
    return close == std::string::npos ? "" : tag.substr(open + 1, close - open - 1);
  }
  return "";
}

double DepthScale(const std::string& depth, size_t line) {
  if (depth == "8i") return 255;
  if (depth == "10i") return 1023;
  if (depth == "12i") return 4095;
  if (depth == "16i") return 65535;
  if (depth == "16f" || depth == "32f") return 1;
  Wrong(line, "unknown bit depth '" + depth + "'");
}

void ParseArray(const std::string& dim, const std::string& body, double scale, size_t line, Table* table) {
  const std::vector<std::string> sizes = Words(dim);
  const size_t wanted = table->cube ? 4 : 2;
  double size = 0, channels = 0;
  if (sizes.size() != wanted || !Number(sizes[0], &size) || !Number(sizes.back(), &channels) ||
      (channels != 3 && (table->cube || channels != 1))) {
    Wrong(line, std::string("the array's dim must be ") + (table->cube ? "\"N N N 3\"" : "\"N 3\" or \"N 1\""));
  }
  for (size_t i = 1; i + 1 < sizes.size(); ++i) {
    if (sizes[i] != sizes[0]) Wrong(line, "the array's dim must have three equal sizes");
  }
  if (size < 2 || size > (table->cube ? kMostNodes : kMostRows) || size != std::floor(size)) {
    Wrong(line, "tables of size " + sizes[0] + " cannot be read");
  }
  table->size = static_cast<int>(size);
  std::vector<double> values;
  for (const std::string& word : Words(body)) {
    double value;
    if (!Number(word, &value)) Wrong(line, "the array holds " + word + ", which is not a number");
    values.push_back(value / scale);
  }
  const size_t rows = RowCount(*table), columns = static_cast<size_t>(channels);
  if (values.size() != rows * columns) {
    Wrong(line,
          "the array holds " + std::to_string(values.size()) + " numbers instead of " + std::to_string(rows * columns));
  }
  table->rows.resize(rows);
  const size_t n = static_cast<size_t>(table->size);
  for (size_t i = 0; i < rows; ++i) {
    // In CLF blue varies fastest.
    const size_t to = table->cube ? i / (n * n) + i / n % n * n + i % n * n * n : i;
    for (size_t c = 0; c < 3; ++c) table->rows[to][c] = values[i * columns + (columns == 3 ? c : 0)];
  }
}

std::string CubeText(const Table& table, const std::string& comment) {
  std::string text = "# " + comment + "\n";
  text += (table.cube ? "LUT_3D_SIZE " : "LUT_1D_SIZE ") + std::to_string(table.size) + "\n";
  char line[96];
  for (const Row& row : table.rows) {
    std::snprintf(line, sizeof line, "%.9f %.9f %.9f\n", row[0], row[1], row[2]);
    text += line;
  }
  return text;
}

std::string ClfText(const Table& table, const std::string& comment) {
  std::string escaped;
  for (char c : comment) escaped += c == '<' ? "&lt;" : c == '&' ? "&amp;" : std::string(1, c);
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ProcessList id=\"zel\" compCLFversion=\"3\">\n";
  text += "  <Description>" + escaped + "</Description>\n";
  const std::string kind = table.cube ? "LUT3D" : "LUT1D", size = std::to_string(table.size);
  text += "  <" + kind + " inBitDepth=\"8i\" outBitDepth=\"8i\" interpolation=\"" +
          (table.cube ? "tetrahedral" : "linear") + "\">\n    <Array dim=\"" +
          (table.cube ? size + " " + size + " " + size : size) + " 3\">\n";
  const size_t n = static_cast<size_t>(table.size);
  for (size_t i = 0; i < table.rows.size(); ++i) {
    const Row& row = table.rows[table.cube ? i / (n * n) + i / n % n * n + i % n * n * n : i];
    for (size_t c = 0; c < 3; ++c) {
      text += (c == 0 ? "" : " ") + std::to_string(static_cast<int>(std::clamp(row[c], 0.0, 1.0) * 255 + 0.5));
    }
    text += "\n";
  }
  return text + "    </Array>\n  </" + kind + ">\n</ProcessList>\n";
}

// A square picture of level x level x level pixels a side holds level x level nodes an axis.
int HaldLevel(int nodes) {
  const int level = static_cast<int>(std::lround(std::sqrt(nodes)));
  return level * level == nodes ? level : 0;
}

Photo HaldPicture(const Table& table) {
  Photo photo;
  photo.width = photo.height = static_cast<int>(std::lround(std::sqrt(static_cast<double>(table.rows.size()))));
  bool whole = true;
  for (const Row& row : table.rows) {
    for (double value : row) whole &= std::fabs(value * 255 - std::round(value * 255)) < 1e-5;
  }
  photo.bits = whole ? 8 : 16;
  const int top = whole ? 255 : 65535;
  photo.samples.resize(table.rows.size() * 3 * (whole ? 1 : 2));
  for (size_t i = 0; i < table.rows.size(); ++i) {
    for (size_t c = 0; c < 3; ++c) {
      const auto value = static_cast<uint16_t>(std::clamp(table.rows[i][c], 0.0, 1.0) * top + 0.5);
      const size_t at = 3 * i + 2 - c;
      if (whole) {
        photo.samples[at] = static_cast<uint8_t>(value);
      } else {
        std::memcpy(&photo.samples[2 * at], &value, 2);
      }
    }
  }
  return photo;
}

Table ReadHald(const std::string& path) {
  Photo photo = ReadPhoto(path, {});
  Table table;
  table.cube = true;
  const int level = static_cast<int>(std::lround(std::cbrt(photo.width)));
  table.size = level * level;
  if (photo.width != photo.height || level * level * level != photo.width || level < 2 || table.size > kMostNodes) {
    throw Failure("is no HaldCLUT picture: those are square, 8, 27, 64, 125, 216, 343, 512... pixels wide");
  }
  if (photo.channels == 1) GreyToColour(&photo);
  table.rows.resize(photo.Pixels());
  for (size_t i = 0; i < table.rows.size(); ++i) {
    for (size_t c = 0; c < 3; ++c) {
      uint16_t wide;
      std::memcpy(&wide, &photo.samples[photo.bits == 16 ? 2 * (3 * i + 2 - c) : 0], 2);
      table.rows[i][c] = photo.bits == 16 ? wide / 65535.0 : photo.samples[3 * i + 2 - c] / 255.0;
    }
  }
  return table;
}

std::string Suffix(const std::string& path) {
  const size_t dot = path.rfind('.');
  return dot == std::string::npos ? "" : Upper(path.substr(dot + 1));
}

}  // namespace

Table ParseCube(const std::string& text) {
  Table table;
  size_t line = 0, at = text.rfind("\xEF\xBB\xBF", 0) == 0 ? 3 : 0;
  while (at < text.size()) {
    size_t end = text.find_first_of("\r\n", at);
    if (end == std::string::npos) end = text.size();
    std::string content = text.substr(at, end - at);
    at = end + 1;
    if (end + 1 < text.size() && text[end] == '\r' && text[end + 1] == '\n') ++at;
    ++line;
    // A title may hold the sign that begins a comment.
    if (Upper(content).rfind("TITLE", 0) != 0) content = content.substr(0, content.find('#'));
    const std::vector<std::string> words = Words(content);
    if (words.empty()) continue;
    if (std::isalpha(static_cast<unsigned char>(words[0][0]))) {
      if (!table.rows.empty()) Wrong(line, "the keyword " + words[0] + " stands among the values");
      Keyword(words, line, &table);
      continue;
    }
    if (table.size == 0) Wrong(line, "values before LUT_1D_SIZE or LUT_3D_SIZE");
    const std::vector<double> n = Numbers(words, 0, 3, line);
    if (table.rows.size() == RowCount(table))
      Wrong(line, "more values than the size of " + std::to_string(table.size) + " says");
    table.rows.push_back({n[0], n[1], n[2]});
  }
  if (table.size == 0) throw Failure("holds neither LUT_1D_SIZE nor LUT_3D_SIZE");
  if (table.rows.size() != RowCount(table)) {
    Wrong(line, "the file ends after " + std::to_string(table.rows.size()) + " of " + std::to_string(RowCount(table)) +
                    " rows");
  }
  CheckDomain(table);
  return table;
}

Table ParseClf(const std::string& text) {
  Table table;
  std::string node;
  double inScale = 0, outScale = 1;
  size_t line = 1;
  size_t position = 0;
  while (true) {
    const size_t open = text.find('<', position);
    if (open == std::string::npos) break;
    line += static_cast<size_t>(
        std::count(text.begin() + static_cast<long>(position), text.begin() + static_cast<long>(open), '\n'));
    const bool comment = text.compare(open, 4, "<!--") == 0;
    const size_t close = comment ? text.find("-->", open) : text.find('>', open);
    if (close == std::string::npos) Wrong(line, "a tag does not end");
    const std::string tag = text.substr(open + 1, close - open - 1);
    position = close + (comment ? 3 : 1);
    line += static_cast<size_t>(
        std::count(text.begin() + static_cast<long>(open), text.begin() + static_cast<long>(position), '\n'));
    if (comment || tag.empty() || tag[0] == '?' || tag[0] == '!' || tag[0] == '/') continue;
    const std::string name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    if (name == "LUT1D" || name == "LUT3D") {
      if (!node.empty()) Wrong(line, "a second table; only files with one can be read");
      node = name;
      table.cube = name == "LUT3D";
      inScale = DepthScale(Attribute(tag, "inBitDepth"), line);
      outScale = DepthScale(Attribute(tag, "outBitDepth"), line);
      if (Attribute(tag, "halfDomain") == "true") Wrong(line, "tables over half-float codes cannot be read");
    } else if (name == "Array") {
      if (node.empty() || !table.rows.empty()) Wrong(line, "an array outside a table");
      const size_t end = text.find('<', position);
      if (end == std::string::npos) Wrong(line, "the array does not end");
      ParseArray(Attribute(tag, "dim"), text.substr(position, end - position), outScale, line, &table);
    } else if (name == "Matrix" || name == "Range" || name == "Log" || name == "Exponent" || name == "ASC_CDL" ||
               name == "IndexMap") {
      Wrong(line, name + " cannot be read; only LUT1D and LUT3D can");
    }
  }
  if (inScale == 0 || table.rows.empty()) throw Failure("holds no LUT1D or LUT3D with an array");
  return table;
}

std::vector<uint8_t> EncodeTable(const Table& table, const std::string& path, const std::string& comment) {
  const std::string suffix = Suffix(path);
  if (suffix == "PNG") {
    const bool fits = table.cube && HaldLevel(table.size) != 0;
    std::vector<std::string> notes;
    return EncodePhoto(HaldPicture(fits ? table : Resampled(table, 64)), Format::Png, {}, &notes);
  }
  if (suffix != "CUBE" && suffix != "CLF") {
    throw UsageError("cannot tell the format of the table " + path + "; end it in .cube, .clf or .png (HaldCLUT)");
  }
  const std::string text = suffix == "CUBE" ? CubeText(table, comment) : ClfText(table, comment);
  return std::vector<uint8_t>(text.begin(), text.end());
}

Table ReadTable(const std::string& path) {
  const std::string suffix = Suffix(path);
  try {
    if (suffix == "PNG") return ReadHald(path);
    if (suffix != "CUBE" && suffix != "CLF") throw Failure("must end in .cube, .clf or .png (HaldCLUT)");
    std::ifstream file(path, std::ios::binary);
    if (!file) throw Failure(std::string("cannot be read: ") + std::strerror(errno));
    std::string text;
    char block[65536];
    while (file.read(block, sizeof block) || file.gcount() > 0) {
      text.append(block, static_cast<size_t>(file.gcount()));
      if (text.size() > 256u << 20) throw Failure("is larger than any table");
    }
    return suffix == "CUBE" ? ParseCube(text) : ParseClf(text);
  } catch (const Failure& failure) {
    throw Failure("the table " + path + ": " + failure.what());
  }
}

}  // namespace tool
