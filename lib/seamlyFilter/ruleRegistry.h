#pragma once

#include <string>
#include <string_view>

// Rules in the registry: every REG_SZ value of a key is one rule set.

/// Adds the rule sets of the machine's filter key and then those of its policy twin.
void AddRegKeyRules(const char* context);

/// Adds one rule set from "key=value;key=value". `name` stands in the messages. A full table is reported.
void ParseRegRule(const std::string& name, std::string_view rule, const char* context);
