#pragma once

#include <windows.h>

// Rules by which administrators hide windows or say what kind of window one is. The rules and the results that were
// found are process-wide; one thread at a time may use them. Messages go to the procedural libraries' log entry.

constexpr int kRuleActionNone = 0;
constexpr int kRuleActionBlock = 1;
constexpr int kRuleActionMap = 2;

constexpr int kWindowTypeNone = -1;
constexpr int kWindowTypeTooltip = 4;
constexpr int kWindowTypeCombobox = 9;

/// What the rules say of a window.
struct SeamlyFilterMatch {
  bool matched = false;
  int action = kRuleActionNone;
  int windowType = kWindowTypeNone;
};

/// Adds the rule sets of the rules folder's files and then those of the registry. Rule sets whose "notapplicableto"
/// list names `context` are left out; null for no context.
void SeamlyFilter_LoadRules(const char* context);

/// Asks the first rule set that matches `window`. The answer is remembered for as long as the rules are loaded, also
/// when the window's handle is given to another one.
SeamlyFilterMatch SeamlyFilter_FindMatchingRule(HWND window);

/// Forgets all rules and answers.
void SeamlyFilter_Close();
