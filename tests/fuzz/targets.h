#pragma once

#include "tests/fuzz/mutation.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quarry::test {

/// One kind of input that a stranger has a hand in: how one is made, and how the library gets it.
struct FuzzTarget {
  std::function<Bytes(Random&)> make;
  std::function<void(const Bytes&)> feed;
};

/// Folders, keys and models that the targets work with, and the targets.
class FuzzWorld {
 public:
  FuzzWorld();

  static const std::vector<std::string>& TargetNames();
  /// `name` is one of these.
  FuzzTarget Target(const std::string& name);

 private:
  const QuarryHost& Host();
  void Describe(const std::wstring& path);
  void DescribeLink() { Describe(folder_ / L"menu\\Fuzz.lnk"); }
  void ScanWithIni() { Host().Scan(folder_ / L"fuzz.ini"); }

  static Model IconModel();
  Model ProgramModel() const;
  Model ShortcutModel() const;

  void FeedProgram(const Bytes& bytes);
  static void FeedRuleFile(const Bytes& bytes);
  void FeedRegistry(const Bytes& bytes);
  void FeedCacheFolder(const Bytes& bytes);
  void FeedArguments(const Bytes& bytes);
  void FeedLaunch(const Bytes& bytes);

  const TemporaryFolder folder_{L"quarryFuzz"};
  const RegistryFixture settings_{kSettingsKey};
  const RegistryFixture rules_{kFilterKey};
  const RegistryFixture extension_{L".quarryfuzz", HKEY_CLASSES_ROOT};
  const RegistryFixture type_{L"QuarryFuzz", HKEY_CLASSES_ROOT};
  std::wstring program_;
  int programs_ = 0;
  std::unique_ptr<QuarryHost> host_;  ///< for the targets that do not start anew with each input
};

}  // namespace quarry::test
