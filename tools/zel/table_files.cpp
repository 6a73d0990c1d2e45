#include <glib.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <functional>

#include "failure.h"
#include "files.h"
#include "table.h"

namespace tool {
namespace {

constexpr int kMostRows = 65536, kMostNodes = 129;

// What the reader of CLF has found so far.
struct Clf {
  bool isLattice = false, hasTable = false, inArray = false;
  double inScale = 0, outScale = 1;
  int size = 0, channels = 0;
  std::vector<double> rows;
  std::string body;  // of the array
};

[[noreturn]] void Wrong(const std::string& what) {
  throw Failure(what);
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
  *value = g_ascii_strtod(word.c_str(), &end);
  return end != word.c_str() && *end == '\0' && std::isfinite(*value);
}

double DepthScale(const std::string& depth) {
  if (depth == "8i") return 255;
  if (depth == "10i") return 1023;
  if (depth == "12i") return 4095;
  if (depth == "16i") return 65535;
  if (depth == "16f" || depth == "32f") return 1;
  Wrong("unknown bit depth '" + depth + "'");
}

void ParseDim(const std::string& dim, Clf* clf) {
  const std::vector<std::string> sizes = Words(dim);
  double size = 0, channels = 0;
  if (sizes.size() != (clf->isLattice ? 4u : 2u) || !Number(sizes[0], &size) || !Number(sizes.back(), &channels) ||
      (channels != 3 && (clf->isLattice || channels != 1))) {
    Wrong(std::string("the array's dim must be ") + (clf->isLattice ? "\"N N N 3\"" : "\"N 3\" or \"N 1\""));
  }
  for (size_t i = 1; i + 1 < sizes.size(); ++i) {
    if (sizes[i] != sizes[0]) Wrong("the array's dim must have three equal sizes");
  }
  if (size < 2 || size > (clf->isLattice ? kMostNodes : kMostRows) || size != std::floor(size)) {
    Wrong("tables of size " + sizes[0] + " cannot be read");
  }
  clf->size = static_cast<int>(size);
  clf->channels = static_cast<int>(channels);
}

void EndArray(Clf* clf) {
  std::vector<double> values;
  for (const std::string& word : Words(clf->body)) {
    double value;
    if (!Number(word, &value)) Wrong("the array holds " + word + ", which is not a number");
    values.push_back(value / clf->outScale);
  }
  const size_t n = static_cast<size_t>(clf->size), columns = static_cast<size_t>(clf->channels);
  const size_t rows = clf->isLattice ? n * n * n : n;
  if (values.size() != rows * columns) {
    Wrong("the array holds " + std::to_string(values.size()) + " numbers instead of " + std::to_string(rows * columns));
  }
  clf->rows.resize(rows * 3);
  for (size_t i = 0; i < rows; ++i) {
    // In CLF blue varies fastest.
    const size_t to = clf->isLattice ? i / (n * n) + i / n % n * n + i % n * n * n : i;
    for (size_t c = 0; c < 3; ++c) clf->rows[3 * to + c] = values[i * columns + (columns == 3 ? c : 0)];
  }
}

void StartElement(const std::string& name, const std::function<std::string(const char*)>& attribute, Clf* clf) {
  static const char* const kOthers[] = {"Matrix", "Range", "Log", "Exponent", "ASC_CDL", "IndexMap"};
  if (name == "LUT1D" || name == "LUT3D") {
    if (clf->hasTable) Wrong("a second table; only files with one can be read");
    clf->hasTable = true;
    clf->isLattice = name == "LUT3D";
    clf->inScale = DepthScale(attribute("inBitDepth"));
    clf->outScale = DepthScale(attribute("outBitDepth"));
    if (attribute("halfDomain") == "true") Wrong("tables over half-float codes cannot be read");
  } else if (name == "Array") {
    if (!clf->hasTable || clf->size != 0) Wrong("an array outside a table");
    ParseDim(attribute("dim"), clf);
    clf->inArray = true;
  } else if (std::find(std::begin(kOthers), std::end(kOthers), name) != std::end(kOthers)) {
    Wrong(name + " cannot be read; only LUT1D and LUT3D can");
  }
}

// GLib's callbacks. Its parser is written in C, so nothing may be thrown through it.
template <class Body>
void Guarded(GError** error, const Body& body) {
  try {
    body();
  } catch (const Failure& failure) {
    g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, failure.what());
  } catch (const std::bad_alloc&) {
    g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "does not fit into memory");
  }
}

void OnStart(GMarkupParseContext*, const gchar* name, const gchar** names, const gchar** values, gpointer user,
             GError** error) {
  Guarded(error, [&] {
    const auto attribute = [&](const char* wanted) -> std::string {
      for (size_t i = 0; names[i] != nullptr; ++i) {
        if (std::strcmp(names[i], wanted) == 0) return values[i];
      }
      return "";
    };
    StartElement(name, attribute, static_cast<Clf*>(user));
  });
}

void OnEnd(GMarkupParseContext*, const gchar* name, gpointer user, GError** error) {
  Clf* const clf = static_cast<Clf*>(user);
  Guarded(error, [&] {
    if (std::strcmp(name, "Array") != 0 || !clf->inArray) return;
    clf->inArray = false;
    EndArray(clf);
  });
}

void OnText(GMarkupParseContext*, const gchar* text, gsize length, gpointer user, GError** error) {
  Clf* const clf = static_cast<Clf*>(user);
  Guarded(error, [&] {
    if (clf->inArray) clf->body.append(text, length);
  });
}

std::string UpperSuffix(const std::string& path) {
  const size_t dot = path.rfind('.');
  std::string suffix = dot == std::string::npos ? "" : path.substr(dot + 1);
  std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](unsigned char c) { return std::toupper(c); });
  return suffix;
}

VImage HaldPicture(const Table& table) {
  const int side = ZelTable_HaldSide(table.get());
  const bool deep = ZelTable_HaldBits(table.get()) == 16;
  const VImage blank = VImage::black(side, side, VImage::option()->set("bands", 3));
  const VImage picture = InMemory(
      blank.cast(deep ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR)
          .copy(VImage::option()->set("interpretation", deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB)));
  const ZelPixels pixels = PixelsOf(picture);
  ZelReport report;
  ZelTable_WriteHald(table.get(), &pixels, &report);
  std::vector<std::string> notes;
  Check(report, &notes);
  return picture;
}

}  // namespace

Table TakeTable(ZelTable* table, const ZelReport& report) {
  if (table == nullptr && report.code == ZEL_CHAIN_NO_TABLE) throw UsageError(report.text);
  if (table == nullptr) throw Failure(report.text);
  return {table, ZelTable_Free};
}

Table ParseClf(const std::string& text) {
  static const GMarkupParser parser = {OnStart, OnEnd, OnText, nullptr, nullptr};
  Clf clf;
  const auto flags = static_cast<GMarkupParseFlags>(G_MARKUP_TREAT_CDATA_AS_TEXT | G_MARKUP_PREFIX_ERROR_POSITION);
  GMarkupParseContext* const context = g_markup_parse_context_new(&parser, flags, &clf, nullptr);
  GError* error = nullptr;
  const bool read = g_markup_parse_context_parse(context, text.data(), static_cast<gssize>(text.size()), &error) &&
                    g_markup_parse_context_end_parse(context, &error);
  const std::string message = read ? "" : error->message;
  g_clear_error(&error);
  g_markup_parse_context_free(context);
  if (!read) throw Failure(message);
  if (clf.inScale == 0 || clf.rows.empty()) throw Failure("holds no LUT1D or LUT3D with an array");
  ZelReport report;
  ZelTable* const table =
      ZelTable_FromRows(clf.rows.data(), clf.size, clf.isLattice ? 1 : 0, nullptr, nullptr, &report);
  return TakeTable(table, report);
}

void SaveTable(const Table& table, const std::string& path, const std::string& comment, bool overwrite) {
  const std::string suffix = UpperSuffix(path);
  if (suffix == "PNG") return SavePicture(HaldPicture(table), path, "", overwrite);
  if (suffix != "CUBE" && suffix != "CLF") {
    throw UsageError("cannot tell the format of the table " + path + "; end it in .cube, .clf or .png (HaldCLUT)");
  }
  ZelReport report;
  size_t size = 0;
  const auto write = suffix == "CUBE" ? ZelTable_WriteCube : ZelTable_WriteClf;
  const std::unique_ptr<char, decltype(&ZelText_Free)> text(write(table.get(), comment.c_str(), &size, &report),
                                                            ZelText_Free);
  std::vector<std::string> notes;
  Check(report, &notes);
  try {
    WriteFile(path, {text.get(), size}, overwrite);
  } catch (const Failure& failure) {
    throw Failure(path + " " + failure.what());
  }
}

Table ReadTable(const std::string& path) {
  const std::string suffix = UpperSuffix(path);
  try {
    ZelReport report;
    if (suffix == "PNG") {
      std::vector<std::string> notes;
      const VImage photo = ReadPhoto(path, {}, &notes);
      const ZelPixels pixels = PixelsOf(photo);
      return TakeTable(ZelTable_ReadHald(&pixels, &report), report);
    }
    if (suffix != "CUBE" && suffix != "CLF") throw Failure("must end in .cube, .clf or .png (HaldCLUT)");
    const std::string text = ReadText(path);
    if (suffix == "CLF") return ParseClf(text);
    return TakeTable(ZelTable_ReadCube(text.data(), text.size(), &report), report);
  } catch (const Failure& failure) {
    throw Failure("the table " + path + ": " + failure.what());
  }
}

}  // namespace tool
