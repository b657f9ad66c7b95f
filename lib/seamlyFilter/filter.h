#pragma once

#include <windows.h>

// Rules by which administrators hide windows or say what kind of window one is. The rules and the results that were
// found are process-wide; one thread at a time may use them. Messages go to the procedural libraries' log entry.

enum RuleAction : int { kRuleActionNone = 0, kRuleActionBlock = 1, kRuleActionMap = 2 };

/// The numbers are those of the window systems that the rules were first written for: 11 is not used.
enum RuleWindowType : int {
  kWindowTypeNone = -1,
  kWindowTypeNormal = 0,
  kWindowTypePanel = 1,
  kWindowTypeDialog = 2,
  kWindowTypeMenu = 3,
  kWindowTypeTooltip = 4,
  kWindowTypeSplash = 5,
  kWindowTypeToolbar = 6,
  kWindowTypeDock = 7,
  kWindowTypeDesktop = 8,
  kWindowTypeCombobox = 9,
  kWindowTypeWidget = 10,
  kWindowTypeStartScreen = 12,
  kWindowTypeSidePanel = 13,
  kWindowTypeTaskbar = 14,
  kWindowTypeMetroFullScreen = 15,
  kWindowTypeMetroDocked = 16,
};

/// What the rules say of a window.
struct SeamlyFilterMatch {
  bool matched = false;
  RuleAction action = kRuleActionNone;
  RuleWindowType windowType = kWindowTypeNone;
};

/// Adds the rule sets of the rules folder's files and then those of the registry. Rule sets whose "notapplicableto"
/// list names `context` are left out; null for no context.
void SeamlyFilter_LoadRules(const char* context);

/// Asks the first rule set that matches `window`. The answer is remembered for as long as the rules are loaded, also
/// when the window's handle is given to another one.
SeamlyFilterMatch SeamlyFilter_FindMatchingRule(HWND window);

/// Forgets all rules and answers.
void SeamlyFilter_Close();
