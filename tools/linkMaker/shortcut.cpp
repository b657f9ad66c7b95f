#include "tools/linkMaker/shortcut.h"

#include <windows.h>

#include <objbase.h>
#include <shobjidl.h>
#include <wrl/client.h>

namespace linkmaker {
namespace {

using Microsoft::WRL::ComPtr;

class ComApartment {
 public:
  ComApartment() : entered_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE))) {}
  ~ComApartment() {
    if (entered_) CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

 private:
  bool entered_;
};

using TextSetter = HRESULT (STDMETHODCALLTYPE IShellLinkW::*)(LPCWSTR);

bool SetText(IShellLinkW& link, TextSetter setter, const std::wstring& text) {
  return text.empty() || SUCCEEDED((link.*setter)(text.c_str()));
}

bool SetIcon(IShellLinkW& link, const Shortcut& shortcut) {
  return !shortcut.iconLocation || SUCCEEDED(link.SetIconLocation(shortcut.iconLocation->c_str(), shortcut.iconIndex));
}

}  // namespace

bool WriteShortcut(const Shortcut& shortcut) {
  const ComApartment apartment;
  ComPtr<IShellLinkW> link;
  if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link)))) return false;
  const bool filled = SetText(*link.Get(), &IShellLinkW::SetPath, shortcut.target) &&
                      SetText(*link.Get(), &IShellLinkW::SetArguments, shortcut.arguments) &&
                      SetText(*link.Get(), &IShellLinkW::SetDescription, shortcut.description) &&
                      SetText(*link.Get(), &IShellLinkW::SetWorkingDirectory, shortcut.workingDirectory) &&
                      SetIcon(*link.Get(), shortcut);
  ComPtr<IPersistFile> file;
  return filled && SUCCEEDED(link.As(&file)) && SUCCEEDED(file->Save(shortcut.linkPath.c_str(), TRUE));
}

}  // namespace linkmaker
