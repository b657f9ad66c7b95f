#include "lib/seamlyFilter/seamlyFilterRegistry.h"

#include "lib/misc/logEntry.h"
#include "lib/misc/platformHandles.h"
#include "lib/misc/win32uRegistry.h"
#include "lib/seamlyFilter/seamlyFilterRules.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <cwchar>
#include <optional>
#include <vector>

namespace {

constexpr const char* kFilterKeys[] = {
    R"(Software\Velkor, Inc.\Velkor Tarn\Velkor Seamly\Filters)",
    R"(Software\Policies\Velkor, Inc.\Velkor Tarn\Velkor Seamly\Filters)",
};

// Many times what ten keys with values of full length take. A longer value is left out.
constexpr DWORD kLongestValue = 16384;  // characters

constexpr char kAddRegKeyRules[] = "AddRegKeyRules";

LSTATUS ReadRule(HKEY key, const std::string& name, std::string& rule) {
  std::vector<wchar_t> text(kLongestValue + 1);  // zero behind the value, which need not have a terminator
  DWORD size = kLongestValue * sizeof(wchar_t);
  const LSTATUS status = RegQueryValueExW(key, Unicode_WideFromUtf8(name).c_str(), nullptr, nullptr,
                                          reinterpret_cast<BYTE*>(text.data()), &size);
  if (status == ERROR_SUCCESS) rule = Unicode_Utf8FromWide({text.data(), wcsnlen(text.data(), size / sizeof(wchar_t))});
  return status;
}

/// One piece of a registry rule.
void ParsePiece(std::string_view piece, RuleReading& reading) {
  constexpr char kParseRegRule[] = "ParseRegRule";
  const std::optional<RuleText> text = SeamlyFilterSplitText(piece);
  if (!text) {
    LogEntry("%s : The registry rule subsection '%s' is not properly formatted.\n", kParseRegRule,
             std::string(piece).c_str());
    return;
  }
  const std::string name(text->key);
  const std::string value(text->value);
  const RuleKey key = SeamlyFilterKeyOf(name);
  if (key == RuleKey::None) {
    LogEntry("%s: Ignoring unknown Seamly filter rule key '%s' with value '%s'.\n", kParseRegRule, name.c_str(),
             value.c_str());
    return;
  }
  LogEntry("%s: Successfully parsed Seamly filter rule with key '%s', value '%s', and type %d.\n", kParseRegRule,
           name.c_str(), value.c_str(), static_cast<int>(key));
  SeamlyFilterAddItem(reading, key, value);
}

void AddRulesOf(const std::string& path, const char* context) {
  UniqueRegistryKey key;
  LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, Unicode_WideFromUtf8(path).c_str(), 0, KEY_READ, key.put());
  if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) {
    LogEntry("%s: Skipping non-existing Seamly filter key '%s'.\n", kAddRegKeyRules, path.c_str());
    return;
  }
  if (status == ERROR_SUCCESS) {
    status = WinReg_EnumerateValues(HKEY_LOCAL_MACHINE, path, 0, [&](const WinRegValue& value, bool&) -> LSTATUS {
      if (value.type != REG_SZ) {
        LogEntry("%s: Registry value 'HKLM\\%s\\%s' has an unexpected type. Only REG_SZ is allowed.\n", kAddRegKeyRules,
                 path.c_str(), value.name.c_str());
        return ERROR_SUCCESS;
      }
      std::string rule;
      const LSTATUS read = ReadRule(key.get(), value.name, rule);
      if (read == ERROR_SUCCESS) ParseRegRule(value.name, rule, context);
      return read;
    });
  }
  if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA && status != ERROR_NO_MORE_ITEMS) {
    LogEntry("%s: Unhandled error type:'%d'.\n", kAddRegKeyRules, static_cast<int>(status));
  }
}

}  // namespace

void AddRegKeyRules(const char* context) {
  for (const char* path : kFilterKeys) AddRulesOf(path, context);
}

bool ParseRegRule(const std::string& name, std::string_view rule, const char* context) {
  RuleReading reading{context};
  if (!SeamlyFilterBeginRule(reading)) {
    LogEntry("%s : Registry read too many rules, maxFileRules: %d.\n", __func__, kMaxRuleSets);
    return false;
  }
  LogEntry("%s: Parsing custom Seamly filter rule '%s'.\n", __func__, name.c_str());
  while (!rule.empty()) {
    const std::size_t end = rule.find(';');
    if (end != 0) ParsePiece(rule.substr(0, end), reading);
    rule.remove_prefix(end == std::string_view::npos ? rule.size() : end + 1);
  }
  LogEntry("%s: Done parsing custom Seamly filter rule '%s'.\n", __func__, name.c_str());
  SeamlyFilterEndRule(reading);
  return true;
}
