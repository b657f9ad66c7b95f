#pragma once

#include "lib/seamlyFilter/filter.h"

#include <array>
#include <cstddef>
#include <forward_list>
#include <optional>
#include <string>
#include <string_view>

// The table of rule sets and how it is filled from texts.

constexpr int kMaxRuleSets = 1024;
constexpr std::size_t kMaxRuleItems = 1024;  ///< of one rule set
constexpr std::size_t kMaxRuleText = 260;    ///< bytes of a line or a value, terminator included

/// The keys of a rule, by the numbers that stand in the messages.
enum class RuleKey : int {
  None = 0,
  Company = 1,
  Product = 2,
  Major = 3,
  Minor = 4,
  Build = 5,
  Revision = 6,
  ClassName = 7,
  Type = 8,
  Action = 9,
  NotApplicableTo = 10,
};

struct RuleItem {
  RuleKey key;
  std::string value;  ///< UTF-8, less than kMaxRuleText bytes
};

struct RuleSet {
  std::forward_list<RuleItem> items;  ///< the last that was written stands first
  std::size_t written = 0;            ///< may be one more than kMaxRuleItems: the rule set then matches no window
};

struct RuleTable {
  std::array<RuleSet, kMaxRuleSets> sets;
  int last = -1;  ///< index of the last rule set in use
};

/// The rules of the process.
RuleTable& SeamlyFilterRules();

/// Where the reading of one source of rule sets (a file, a registry value) stands.
struct RuleReading {
  const char* context = nullptr;  ///< null for none
  int begun = 0;                  ///< rule sets of this source that are in the table
  bool notApplicable = false;     ///< the rule set being read is to be dropped at its end
};

/// The two sides of "key=value". Nothing is trimmed; nothing comes of a text without "=".
struct RuleText {
  std::string_view key;
  std::string_view value;
};
std::optional<RuleText> SeamlyFilterSplitText(std::string_view text);

/// What the names stand for, which are told apart by case; None for an unknown one.
RuleKey SeamlyFilterKeyOf(std::string_view name);
WindowType SeamlyFilterWindowTypeOf(std::string_view name);
RuleAction SeamlyFilterActionOf(std::string_view name);

/// Starts a rule set. False when the table is full: the last rule set then goes on.
bool SeamlyFilterBeginRule(RuleReading& reading);
/// Adds an item to the current rule set, or decides by a "notapplicableto" whether that is to be dropped. An item that
/// the rule set has no room for is reported.
void SeamlyFilterAddItem(RuleReading& reading, RuleKey key, std::string_view value);
/// Drops the current rule set when it is not applicable.
void SeamlyFilterEndRule(RuleReading& reading);
