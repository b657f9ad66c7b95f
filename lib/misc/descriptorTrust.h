#pragma once

#include <windows.h>

/// What speaks against a file or folder that others may have made or may change.
enum class Distrust {
  None,
  InheritedWriter,  ///< others may add to it, by what has come down from the folder above and by nothing else
  ForeignWriter,    ///< others may write to it, or exchange what is in it
  ForeignOwner,     ///< it belongs to others, who may give themselves every right
  ReparsePoint,     ///< it leads elsewhere
  Unreadable,       ///< it cannot be told
};

/// The reason in words, to stand behind the name of what is not trusted.
const wchar_t* ReasonFor(Distrust distrust);

/// Judges a file or folder by its owner and DACL. Trusted are administrators, the system, TrustedInstaller and
/// `ownUser` (null for nobody). Entries that are only passed on count like others, those for creators and owners do
/// not, because the owner is judged himself. Entries that deny are not set off against others. What is not understood
/// is not trusted.
Distrust JudgeDescriptor(PSECURITY_DESCRIPTOR descriptor, PSID ownUser);
