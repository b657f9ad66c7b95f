#pragma once

#include <windows.h>

#include <initializer_list>

/// Whether the tables of resources of these types stay inside the section that holds them, in a program that `file` has
/// open for reading. The platform's own functions follow the tables' offsets without looking (Wine 8.0 faults on them);
/// what this function has passed can be asked for. A file that is no program, one without resources and one without
/// these types have no such tables. Of a version resource the content must lie inside, too.
bool IsSoundResourceTree(HANDLE file, std::initializer_list<WORD> types);
