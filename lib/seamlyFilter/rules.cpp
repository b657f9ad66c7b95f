#include "lib/seamlyFilter/rules.h"

#include "lib/misc/logEntry.h"

#include <algorithm>
#include <iterator>

namespace {

struct NamedNumber {
  std::string_view name;
  int number;
};

constexpr NamedNumber kKeys[] = {
    {"company", 1},  {"product", 2},   {"major", 3}, {"minor", 4},  {"build", 5},
    {"revision", 6}, {"classname", 7}, {"type", 8},  {"action", 9}, {"notapplicableto", 10},
};

// The numbers are those of the window systems that the rules were first written for: 11 is not used.
constexpr NamedNumber kWindowTypes[] = {
    {"normal", 0},     {"panel", 1},    {"dialog", 2},           {"menu", 3},
    {"tooltip", 4},    {"splash", 5},   {"toolbar", 6},          {"dock", 7},
    {"desktop", 8},    {"widget", 10},  {"combobox", 9},         {"startscreen", 12},
    {"sidepanel", 13}, {"taskbar", 14}, {"metrofullscreen", 15}, {"metrodocked", 16},
};

constexpr NamedNumber kActions[] = {{"block", kRuleActionBlock}, {"map", kRuleActionMap}};

template <std::size_t Size>
int NumberOf(const NamedNumber (&names)[Size], std::string_view name, int unknown) {
  const auto* const found =
      std::find_if(std::begin(names), std::end(names), [name](const NamedNumber& entry) { return entry.name == name; });
  return found == std::end(names) ? unknown : found->number;
}

/// Whether the list, whose pieces are cut at ",", names the context exactly.
bool Names(std::string_view list, std::string_view context) {
  for (;;) {
    const std::size_t end = list.find(',');
    if (list.substr(0, end) == context) return true;
    if (end == std::string_view::npos) return false;
    list.remove_prefix(end + 1);
  }
}

RuleSet& CurrentSet() {
  RuleTable& rules = SeamlyFilterRules();
  return rules.sets[static_cast<std::size_t>(rules.last)];
}

}  // namespace

RuleTable& SeamlyFilterRules() {
  static RuleTable rules;
  return rules;
}

std::optional<RuleText> SeamlyFilterSplitText(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  return RuleText{text.substr(0, equals), text.substr(equals + 1)};
}

RuleKey SeamlyFilterKeyOf(std::string_view name) { return static_cast<RuleKey>(NumberOf(kKeys, name, 0)); }

int SeamlyFilterWindowTypeOf(std::string_view name) { return NumberOf(kWindowTypes, name, kWindowTypeNone); }

int SeamlyFilterActionOf(std::string_view name) { return NumberOf(kActions, name, kRuleActionNone); }

bool SeamlyFilterBeginRule(RuleReading& reading) {
  // The end of the rule set before may be missing.
  SeamlyFilterEndRule(reading);
  RuleTable& rules = SeamlyFilterRules();
  if (rules.last >= kMaxRuleSets - 1) {
    reading.begun = std::max(reading.begun, 1);
    return false;
  }
  ++rules.last;
  ++reading.begun;
  return true;
}

void SeamlyFilterAddItem(RuleReading& reading, RuleKey key, std::string_view value) {
  if (key == RuleKey::NotApplicableTo) {
    if (reading.context != nullptr && Names(value, reading.context)) reading.notApplicable = true;
    return;
  }
  RuleSet& set = CurrentSet();
  if (set.written > kMaxRuleItems) return;
  // Without the conditions that were left out it would match more windows than was meant.
  if (++set.written > kMaxRuleItems) {
    LogEntry(__func__, "Too many rule items, the rule set is not used.\n");
    set.items.clear();
    return;
  }
  set.items.push_front({key, std::string(value.substr(0, kMaxRuleText - 1))});
}

void SeamlyFilterEndRule(RuleReading& reading) {
  if (!reading.notApplicable) return;
  CurrentSet() = {};
  --SeamlyFilterRules().last;
  --reading.begun;
  reading.notApplicable = false;
}

RuleKey SeamlyFilterParseLine(std::string_view line, RuleReading& reading) {
  if (line.empty() || line.front() == '#') return RuleKey::None;
  if (line == "BeginRule") {
    if (!SeamlyFilterBeginRule(reading)) LogEntry(__func__, "Too many rule sets.\n");
    return RuleKey::None;
  }
  if (line == "EndRule") {
    SeamlyFilterEndRule(reading);
    return RuleKey::None;
  }
  if (reading.begun == 0 || reading.notApplicable) return RuleKey::None;

  const std::optional<RuleText> text = SeamlyFilterSplitText(line);
  const RuleKey key = text ? SeamlyFilterKeyOf(text->key) : RuleKey::None;
  if (key == RuleKey::None) {
    LogEntry(__func__, "bad token or whitespace '%s'\n", std::string(line).c_str());
    return RuleKey::None;
  }
  LogEntry(__func__, "lhs %s rhs %s type %d\n", std::string(text->key).c_str(), std::string(text->value).c_str(),
           static_cast<int>(key));
  SeamlyFilterAddItem(reading, key, text->value);
  return key;
}
