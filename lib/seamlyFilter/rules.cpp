#include "lib/seamlyFilter/rules.h"

#include "lib/misc/logEntry.h"

#include <algorithm>
#include <iterator>

namespace {

/// A name in a rule, and what it stands for.
template <typename Value>
struct Named {
  std::string_view name;
  Value value;
};

constexpr Named<RuleKey> kKeys[] = {
    {"company", RuleKey::Company},     {"product", RuleKey::Product},
    {"major", RuleKey::Major},         {"minor", RuleKey::Minor},
    {"build", RuleKey::Build},         {"revision", RuleKey::Revision},
    {"classname", RuleKey::ClassName}, {"type", RuleKey::Type},
    {"action", RuleKey::Action},       {"notapplicableto", RuleKey::NotApplicableTo},
};

constexpr Named<WindowType> kWindowTypes[] = {
    {"normal", WindowType::Normal},
    {"panel", WindowType::Panel},
    {"dialog", WindowType::Dialog},
    {"menu", WindowType::Menu},
    {"tooltip", WindowType::Tooltip},
    {"splash", WindowType::Splash},
    {"toolbar", WindowType::Toolbar},
    {"dock", WindowType::Dock},
    {"desktop", WindowType::Desktop},
    {"widget", WindowType::Widget},
    {"combobox", WindowType::Combobox},
    {"startscreen", WindowType::StartScreen},
    {"sidepanel", WindowType::SidePanel},
    {"taskbar", WindowType::Taskbar},
    {"metrofullscreen", WindowType::MetroFullScreen},
    {"metrodocked", WindowType::MetroDocked},
};

constexpr Named<RuleAction> kActions[] = {{"block", RuleAction::Block}, {"map", RuleAction::Map}};

template <typename Value, std::size_t Size>
Value ValueOf(const Named<Value> (&names)[Size], std::string_view name) {
  const auto* const found = std::find_if(std::begin(names), std::end(names),
                                         [name](const Named<Value>& entry) { return entry.name == name; });
  return found == std::end(names) ? Value::None : found->value;
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

RuleKey SeamlyFilterKeyOf(std::string_view name) { return ValueOf(kKeys, name); }

WindowType SeamlyFilterWindowTypeOf(std::string_view name) { return ValueOf(kWindowTypes, name); }

RuleAction SeamlyFilterActionOf(std::string_view name) { return ValueOf(kActions, name); }

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
