#include "tools/quarryctl/trailJson.h"

#include "lib/unicode/unicode.h"

namespace quarryctl {
namespace {

const char* ResultName(Fate fate) {
  switch (fate) {
    case Fate::Published:
      return "published";
    case Fate::Scanned:
      return "scanned";
    case Fate::LeftOut:
      return "leftOut";
  }
  return "";
}

}  // namespace

Json JsonFrom(const std::vector<TrailEntry>& entries) {
  Json array = Json::array();
  for (const TrailEntry& entry : entries) {
    array.push_back({{"path", Unicode_Utf8FromWide(entry.path)},
                     {"kind", entry.isFolder ? "folder" : "file"},
                     {"result", ResultName(entry.fate)},
                     {"reason", entry.reason},
                     {"root", Unicode_Utf8FromWide(entry.root)},
                     {"name", Unicode_Utf8FromWide(entry.name)},
                     {"targetPath", Unicode_Utf8FromWide(entry.target)}});
  }
  return array;
}

}  // namespace quarryctl
