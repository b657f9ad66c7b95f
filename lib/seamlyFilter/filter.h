#pragma once

#include "lib/seamlyFilter/windowData.h"

#include <string>

// Rules by which administrators hide windows or say what kind of window one is. The rules and the results that were
// found are process-wide; one thread at a time may use them. Messages go to the procedural libraries' log entry.

enum class RuleAction : int { None = 0, Block = 1, Map = 2 };

/// The numbers are those of the window systems that the rules were first written for: 11 is not used.
enum class WindowType : int {
  None = -1,
  Normal = 0,
  Panel = 1,
  Dialog = 2,
  Menu = 3,
  Tooltip = 4,
  Splash = 5,
  Toolbar = 6,
  Dock = 7,
  Desktop = 8,
  Combobox = 9,
  Widget = 10,
  StartScreen = 12,
  SidePanel = 13,
  Taskbar = 14,
  MetroFullScreen = 15,
  MetroDocked = 16,
};

/// What the rules say of a window.
struct SeamlyFilterMatch {
  bool matched = false;
  RuleAction action = RuleAction::None;
  WindowType windowType = WindowType::None;
};

/// Files and folders of rules that were left out.
struct SkippedRules {
  int count = 0;
  std::wstring first;  ///< the path of the first, and why
};

/// Adds the rule sets of the rules folder's files and then those of the registry. Rule sets whose "notapplicableto"
/// list names `context` are left out; null for no context. Returns what an administrator should learn of.
SkippedRules SeamlyFilter_LoadRules(const char* context);

/// Asks the first rule set that matches `window`. The answer is remembered for as long as the rules are loaded, also
/// when the window's handle is given to another one. `programs` are those of the enumeration that found the window.
SeamlyFilterMatch SeamlyFilter_FindMatchingRule(const SeamlyFilterWindow& window, SeamlyFilterPrograms& programs);

/// Forgets all rules and answers.
void SeamlyFilter_Close();
