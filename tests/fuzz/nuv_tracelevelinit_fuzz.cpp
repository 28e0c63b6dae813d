// An init file, read into a table and into the registry of modules, compared with a simple model; then saved and read
// again with the same result. The input is the file.
#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "doubles.h"
#include "fuzz_check.h"
#include "fuzz_input.h"
#include "nuv_tracelevelinit.h"
#include "registry.h"

namespace {

using fuzz::Module;
using fuzz::registered_modules;

struct Row {
  uint16_t id;
  std::string name;
  uint32_t mask;

  bool operator==(const Row&) const = default;
};

// ---- the model ----

class ModelFile {
 public:
  explicit ModelFile(std::string_view content) : rest_(content) {}

  // Returns the next line, or as much of it as fits into a buffer of this size; nothing at the end.
  std::optional<std::string> line(size_t size) {
    if (rest_.empty()) {
      return std::nullopt;
    }
    const size_t whole = std::min(rest_.find('\n'), rest_.size() - 1) + 1;
    std::string_view line = rest_.substr(0, std::min(whole, size - 1));
    rest_.remove_prefix(line.size());
    line = line.substr(0, line.find('\n'));
    return std::string(fuzz::c_text(line));
  }

 private:
  std::string_view rest_;
};

std::optional<uint32_t> number(std::string_view text, bool is_small) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) {
    return std::nullopt;
  }
  uint32_t value = 0;
  for (const char c : text) {
    value = value * 10 + static_cast<uint32_t>(c - '0');
  }
  return is_small && value > 65535 ? std::nullopt : std::optional(value);
}

// Converts a line into a row, field by field. Returns false at the first wrong field.
bool convert(const std::string& line, Row& row) {
  if (std::count(line.begin(), line.end(), ';') != 2) {
    return false;
  }
  const size_t first = line.find(';');
  const size_t second = line.rfind(';');
  const auto id = number(std::string_view(line).substr(0, first), true);
  if (!id) {
    return false;
  }
  row.id = static_cast<uint16_t>(*id);
  std::string name = line.substr(first + 1, second - first - 1);
  name.erase(0, std::min(name.find_first_not_of(' '), name.size()));
  if (!name.starts_with('"')) {
    return false;
  }
  // Without a closing quote, the rest of the line is the name.
  const size_t closing = name.find('"', 1);
  row.name = name.substr(1, std::min<size_t>(closing - 1, 10));
  const auto mask = number(std::string_view(line).substr(second + 1), false);
  if (closing == std::string::npos || !mask) {
    return false;
  }
  row.mask = *mask;
  return true;
}

// Returns whether the file is valid. Stores the rows before any damage, and the parts of a refused line in `begun`.
bool model_restore(std::string_view content, std::vector<Row>& rows, Row& begun) {
  constexpr size_t kHeaderSize = 1024;
  constexpr size_t kRowSize = 512;
  ModelFile file(content);
  if (file.line(kHeaderSize) != "[TraceLevelInit Version]" || file.line(kHeaderSize) != "1") {
    return false;
  }
  static_cast<void>(file.line(kHeaderSize));
  if (file.line(kHeaderSize) != "[Level]") {
    return false;
  }
  while (const auto line = file.line(kRowSize)) {
    if (line->empty()) {
      return true;
    }
    if (rows.size() == NUV_LEVEL_SIZE) {
      return false;
    }
    begun = {};
    if (!convert(*line, begun)) {
      return false;
    }
    rows.push_back(begun);
    begun = {};
  }
  return false;
}

// ---- the library ----

struct FileCloser {
  void operator()(FILE* file) const { fclose(file); }
};

bool restore(TraceLevelInit& table, const std::string& content) {
  fuzz::flash()["/flash/fuzz.ini"] = content;
  const std::unique_ptr<FILE, FileCloser> file(fopen("/flash/fuzz.ini", "r"));
  return NUV_TraceLevelInit_restore(&table, file.get());
}

std::string save(TraceLevelInit& table) {
  {
    const std::unique_ptr<FILE, FileCloser> file(fopen("/flash/fuzz.ini", "w"));
    FUZZ_CHECK(NUV_TraceLevelInit_save(&table, file.get()));
  }
  return fuzz::flash()["/flash/fuzz.ini"];
}

Row row_at(const TraceLevelInit& table, uint16_t index) {
  const TableEntry& row = table.Level.TableEntry[index];
  FUZZ_CHECK(std::memchr(row.szModulName, '\0', sizeof row.szModulName) != nullptr);
  return {row.u16TableId, row.szModulName, row.u32TraceLevel};
}

std::vector<Row> rows_of(const TraceLevelInit& table) {
  std::vector<Row> rows;
  FUZZ_CHECK(table.Level.u16ActSize <= NUV_LEVEL_SIZE);
  for (uint16_t i = 0; i < table.Level.u16ActSize; ++i) {
    rows.push_back(row_at(table, i));
  }
  return rows;
}

// Checks the operations on a table with rows from a file.
void check_operations(TraceLevelInit& table) {
  std::vector<Row> rows = rows_of(table);
  for (const Row& row : rows) {
    // If a file repeats a name or an id, the first one counts.
    const auto named =
        std::find_if(rows.begin(), rows.end(), [&row](const Row& other) { return other.name == row.name; });
    const auto numbered =
        std::find_if(rows.begin(), rows.end(), [&row](const Row& other) { return other.id == row.id; });
    FUZZ_CHECK(NUV_Level_findModulName(&table, row.name.c_str()) == named->id);
    FUZZ_CHECK(numbered->name == NUV_Level_getModulName(&table, row.id));
    FUZZ_CHECK(numbered->mask == NUV_Level_getTraceLevel(&table, row.id));
  }
  if (!NUV_Level_isFull(&table)) {
    const uint16_t id = NUV_Level_insert(&table, "inserted", 7);
    FUZZ_CHECK(std::none_of(rows.begin(), rows.end(), [id](const Row& row) { return row.id == id; }));
    FUZZ_CHECK(NUV_Level_delete(&table, id));
    FUZZ_CHECK(rows_of(table) == rows);
  }
  NUV_Level_reIndex(&table);
  for (uint16_t i = 0; i < rows.size(); ++i) {
    rows[i].id = i;
  }
  FUZZ_CHECK(rows_of(table) == rows);
}

// ---- the registry ----

// The registered modules after reading a file with these rows. A row without a name sets the mask of the next module.
std::vector<Module> model_modules(const std::vector<Row>& rows) {
  constexpr uint32_t kVisible = 1023;
  std::vector<Module> entries = {{"TraceLevel", NUV_SYSLOGLEVEL_DEFAULT_MASK}, {"", 0}};
  for (const Row& row : rows) {
    const auto entry = std::find_if(entries.begin(), entries.end(), [&row](const Module& module) {
      return module.name.empty() || module.name == row.name;
    });
    *entry = {row.name, row.mask & kVisible};
    if (!entries.back().name.empty()) {
      entries.push_back({"", 0});
    }
  }
  entries.pop_back();
  return entries;
}

void check_registry(const std::string& content, const std::vector<Row>& rows) {
  const std::vector<Module> expected = model_modules(rows);
  fuzz::flash()["/flash/fuzz.ini"] = content;
  NUV_Sysloglevel_construct("/flash/fuzz.ini");
  FUZZ_CHECK(registered_modules() == expected);
  // An init file has at most 50 rows, so the last of 51 modules is not saved.
  FUZZ_CHECK(NUV_Sysloglevel_saveInitFile("/flash/fuzz.ini"));
  NUV_Sysloglevel_construct("/flash/fuzz.ini");
  const std::vector<Module> again = registered_modules();
  FUZZ_CHECK(again.size() == std::min<size_t>(expected.size(), NUV_LEVEL_SIZE));
  FUZZ_CHECK(std::equal(again.begin(), again.end(), expected.begin()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  NUV_Sysloglevel_set(1);
  TraceLevelInit table;
  NUV_TraceLevelInit_construct(&table);
  table.bChanged = 1;
  std::vector<Row> expected;
  Row begun = {};
  const bool is_whole = model_restore(content, expected, begun);
  FUZZ_CHECK(restore(table, content) == is_whole);
  FUZZ_CHECK(rows_of(table) == expected);
  FUZZ_CHECK(NUV_Level_isFull(&table) || row_at(table, table.Level.u16ActSize) == begun);
  FUZZ_CHECK(NUV_TraceLevelInit_hasChanged(&table) == !is_whole);

  const std::string saved = save(table);
  TraceLevelInit again;
  NUV_TraceLevelInit_construct(&again);
  FUZZ_CHECK(restore(again, saved));
  FUZZ_CHECK(rows_of(again) == expected);
  FUZZ_CHECK(save(again) == saved);

  check_registry(content, expected);
  check_operations(table);
  NUV_TraceLevelInit_destruct(&again);
  NUV_TraceLevelInit_destruct(&table);
  fuzz::flash().clear();
  return 0;
}
