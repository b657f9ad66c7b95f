#include "quarry/boundary/records.h"

#include "lib/misc/platformHandles.h"

#include <cstring>
#include <cwchar>
#include <new>

namespace quarry {

namespace {

using StringCopy = UniqueMalloc<wchar_t>;

StringCopy Copy(const std::wstring& text) {
  StringCopy copy(_wcsdup(text.c_str()));
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

}  // namespace

void FillRecord(QuarryApplicationInfo& record, const Application& application) {
  StringCopy path = Copy(application.GetPath());
  StringCopy fileName = Copy(application.GetFileName());
  StringCopy baseName = Copy(application.GetBaseName());
  StringCopy extension = Copy(application.GetExtension());
  StringCopy productName = Copy(application.GetProductName());
  StringCopy productVersion = Copy(application.GetProductVersion());
  StringCopy fileDescription = Copy(application.GetFileDescription());
  StringCopy fileVersion = Copy(application.GetFileVersion());
  StringCopy comments = Copy(application.GetComments());
  StringCopy companyName = Copy(application.GetCompanyName());
  StringCopy targetPath = Copy(application.GetTargetPath());
  record = {path.release(),        fileName.release(),       baseName.release(),        extension.release(),
            productName.release(), productVersion.release(), fileDescription.release(), fileVersion.release(),
            comments.release(),    companyName.release(),    targetPath.release(),      application.GetIconCount()};
}

void FillRecord(QuarryIconInfo& record, const Icon& icon) {
  StringCopy name = Copy(icon.GetName());
  StringCopy path = Copy(icon.GetPath());
  record = {static_cast<std::int64_t>(icon.GetWidth()), static_cast<std::int64_t>(icon.GetHeight()),
            static_cast<std::int64_t>(icon.GetDepth()), name.release(), path.release()};
}

void FillRecord(QuarryWindowInfo& record, const Window& window) {
  StringCopy title = Copy(window.GetTitle());
  StringCopy imagePath = Copy(window.GetImagePath());
  record = {title.release(), window.IsVisible() ? 1 : 0, window.IsMinimized() ? 1 : 0, imagePath.release()};
}

void FillRecord(QuarryExtensionEntry& record, const Extension& extension) {
  StringCopy name = Copy(extension.GetName());
  StringCopy description = Copy(extension.GetDescription());
  record = {name.release(), description.release()};
}

void FreeStrings(const QuarryApplicationInfo& record) noexcept {
  for (wchar_t* const text :
       {record.path, record.fileName, record.baseName, record.extension, record.productName, record.productVersion,
        record.fileDescription, record.fileVersion, record.comments, record.companyName, record.targetPath}) {
    std::free(text);
  }
}

void FreeStrings(const QuarryIconInfo& record) noexcept {
  std::free(record.name);
  std::free(record.path);
}

void FreeStrings(const QuarryWindowInfo& record) noexcept {
  std::free(record.title);
  std::free(record.imagePath);
}

void FreeStrings(const QuarryExtensionEntry& record) noexcept {
  std::free(record.name);
  std::free(record.description);
}

}  // namespace quarry
