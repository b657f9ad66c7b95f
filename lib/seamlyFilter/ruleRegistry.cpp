#include "lib/seamlyFilter/ruleRegistry.h"

#include "lib/misc/logEntry.h"
#include "lib/misc/platformHandles.h"
#include "lib/misc/win32uRegistry.h"
#include "lib/seamlyFilter/rules.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <optional>

namespace {

constexpr const char* kFilterKeys[] = {
    R"(Software\Velkor, Inc.\Velkor Tarn\Velkor Seamly\Filters)",
    R"(Software\Policies\Velkor, Inc.\Velkor Tarn\Velkor Seamly\Filters)",
};

// Many times what ten keys with values of full length take. A longer value is left out.
constexpr DWORD kLongestValue = 16384;  // characters

constexpr char kAddRegKeyRules[] = "AddRegKeyRules";
constexpr char kParseRegRule[] = "ParseRegRule";
constexpr char kParseRegRuleBlank[] = "ParseRegRule ";  // two messages have a blank before the colon

/// One piece of a registry rule.
void ParsePiece(std::string_view piece, RuleReading& reading) {
  const std::optional<RuleText> text = SeamlyFilterSplitText(piece);
  if (!text) {
    LogEntry(kParseRegRuleBlank, "The registry rule subsection '%s' is not properly formatted.\n",
             std::string(piece).c_str());
    return;
  }
  const std::string name(text->key);
  const std::string value(text->value);
  const RuleKey key = SeamlyFilterKeyOf(name);
  if (key == RuleKey::None) {
    LogEntry(kParseRegRule, "Ignoring unknown Seamly filter rule key '%s' with value '%s'.\n", name.c_str(),
             value.c_str());
    return;
  }
  LogEntry(kParseRegRule, "Successfully parsed Seamly filter rule with key '%s', value '%s', and type %d.\n",
           name.c_str(), value.c_str(), static_cast<int>(key));
  SeamlyFilterAddItem(reading, key, value);
}

void AddRule(const char* path, const std::string& name, DWORD type, std::wstring_view rule, const char* context) {
  if (type != REG_SZ) {
    LogEntry(kAddRegKeyRules, "Registry value 'HKLM\\%s\\%s' has an unexpected type. Only REG_SZ is allowed.\n", path,
             name.c_str());
    return;
  }
  ParseRegRule(name, Unicode_Utf8FromWide(rule.substr(0, rule.find(L'\0'))), context);
}

/// Returns what ended the enumeration.
LSTATUS AddValuesOf(HKEY key, const char* path, const char* context) {
  std::wstring name(kWinRegValueNameCapacity, L'\0');
  std::wstring value(kLongestValue, L'\0');
  for (DWORD index = 0;; ++index) {
    DWORD nameLength = kWinRegValueNameCapacity;
    DWORD type = REG_NONE;
    DWORD size = kLongestValue * sizeof(wchar_t);
    const LSTATUS status = RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type,
                                         reinterpret_cast<BYTE*>(value.data()), &size);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) return status;
    const std::wstring_view rule(value.data(), size / sizeof(wchar_t));
    AddRule(path, Unicode_Utf8FromWide({name.data(), nameLength}), type, rule, context);
  }
}

void AddRulesOf(const char* path, const char* context) {
  UniqueRegistryKey key;
  LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, Unicode_WideFromUtf8(path).c_str(), 0, KEY_READ, key.put());
  if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) {
    LogEntry(kAddRegKeyRules, "Skipping non-existing Seamly filter key '%s'.\n", path);
    return;
  }
  if (status == ERROR_SUCCESS) status = AddValuesOf(key.get(), path, context);
  if (status != ERROR_NO_MORE_ITEMS) {
    LogEntry(kAddRegKeyRules, "Unhandled error type:'%d'.\n", static_cast<int>(status));
  }
}

}  // namespace

void AddRegKeyRules(const char* context) {
  for (const char* path : kFilterKeys) AddRulesOf(path, context);
}

void ParseRegRule(const std::string& name, std::string_view rule, const char* context) {
  RuleReading reading{context};
  if (!SeamlyFilterBeginRule(reading)) {
    LogEntry(kParseRegRuleBlank, "Registry read too many rules, maxFileRules: %d.\n", kMaxRuleSets);
    return;
  }
  LogEntry(__func__, "Parsing custom Seamly filter rule '%s'.\n", name.c_str());
  while (!rule.empty()) {
    const std::size_t end = rule.find(';');
    if (end != 0) ParsePiece(rule.substr(0, end), reading);
    rule.remove_prefix(end == std::string_view::npos ? rule.size() : end + 1);
  }
  LogEntry(__func__, "Done parsing custom Seamly filter rule '%s'.\n", name.c_str());
  SeamlyFilterEndRule(reading);
}
