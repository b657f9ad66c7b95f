#include "lib/seamlyFilter/filter.h"

#include "lib/misc/logEntry.h"
#include "lib/seamlyFilter/answerCache.h"
#include "lib/seamlyFilter/ruleFile.h"
#include "lib/seamlyFilter/ruleRegistry.h"
#include "lib/seamlyFilter/rules.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

constexpr char kFindMatchingRule[] = "SeamlyFilter_FindMatchingRule";

bool SameText(const std::string& value, const std::string& text) {
  return std::strncmp(value.c_str(), text.c_str(), kMaxRuleText) == 0;
}

bool SameNumber(const std::string& value, std::uint16_t number) {
  return std::strtol(value.c_str(), nullptr, 10) == number;
}

/// Tells whether the item holds. "type" and "action" always do and put their number into `match`.
bool Holds(const RuleItem& item, const SeamlyFilterData& data, SeamlyFilterMatch& match) {
  switch (item.key) {
    case RuleKey::Company:
      return SameText(item.value, data.company);
    case RuleKey::Product:
      return SameText(item.value, data.product);
    case RuleKey::ClassName:
      return SameText(item.value, data.className);
    case RuleKey::Major:
      return SameNumber(item.value, data.major);
    case RuleKey::Minor:
      return SameNumber(item.value, data.minor);
    case RuleKey::Build:
      return SameNumber(item.value, data.build);
    case RuleKey::Revision:
      return SameNumber(item.value, data.revision);
    case RuleKey::Type:
      match.windowType = SeamlyFilterWindowTypeOf(item.value);
      return true;
    case RuleKey::Action:
      match.action = SeamlyFilterActionOf(item.value);
      return true;
    case RuleKey::None:
    case RuleKey::NotApplicableTo:
      break;  // no reader makes such items; should the table hold one, it is to be noticed
  }
  LogEntry(kFindMatchingRule, "unrecognized rule, skipping\n");
  return true;
}

SeamlyFilterMatch Ask(const SeamlyFilterData& data) {
  const RuleTable& rules = SeamlyFilterRules();
  // A rule set without an action blocks. What the items of a rule set have set before one of them fails stays for the
  // rule sets behind it.
  SeamlyFilterMatch match{false, RuleAction::Block, WindowType::None};
  for (int index = 0; index <= rules.last; ++index) {
    const RuleSet& set = rules.sets[static_cast<std::size_t>(index)];
    if (set.written > kMaxRuleItems) continue;
    match.matched =
        std::all_of(set.items.begin(), set.items.end(), [&](const RuleItem& item) { return Holds(item, data, match); });
    if (match.matched) return match;
  }
  return {};
}

}  // namespace

SkippedRules SeamlyFilter_LoadRules(const char* context) {
  SkippedRules skipped = SeamlyFilterProcessRulesFolder(context);
  AddRegKeyRules(context);
  return skipped;
}

SeamlyFilterMatch SeamlyFilter_FindMatchingRule(const SeamlyFilterWindow& window, SeamlyFilterPrograms& programs) {
  if (const std::optional<SeamlyFilterMatch> known = SeamlyFilterFindInCache(window.handle)) return *known;
  // Without rules every answer is this one; the version resource of every program need not be read for it.
  if (SeamlyFilterRules().last < 0) return {};
  const std::optional<SeamlyFilterData> data = SeamlyFilterGetData(window, programs);
  if (!data) return {};
  const SeamlyFilterMatch match = Ask(*data);
  SeamlyFilterAddToCache(window.handle, match);
  return match;
}

void SeamlyFilter_Close() {
  LogEntry(__func__, "Cleaning up filter rules tables\n");
  RuleTable& rules = SeamlyFilterRules();
  for (RuleSet& set : rules.sets) set = {};
  rules.last = -1;
  SeamlyFilterPurgeCache();
  SeamlyFilterForgetPrograms();
}
