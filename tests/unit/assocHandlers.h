#pragma once

#include "lib/appUtil/handlerEnumeration.h"

#include <windows.h>

#include <shlwapi.h>
#include <shobjidl.h>

#include <string>
#include <utility>
#include <vector>

namespace quarry::test {

inline constinit int g_lentReferences = 0;

/// A COM object that belongs to the test: references to it are only counted.
template <typename... Interfaces>
class Lent : public Interfaces... {
 public:
  virtual ~Lent() = default;
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++g_lentReferences); }
  ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--g_lentReferences); }
};

/// What a handler answers at each step.
struct HandlerAnswers {
  std::wstring name;
  std::wstring progId;
  HRESULT nameResult = S_OK;
  bool hasProgIdInterface = true;
  HRESULT progIdResult = S_OK;
};

/// A handler as the shell enumerates it.
class AssocHandler final : public Lent<IAssocHandler, IObjectWithProgID> {
 public:
  explicit AssocHandler(HandlerAnswers answers) : answers_(std::move(answers)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
    const bool known = IsEqualIID(id, IID_IObjectWithProgID) && answers_.hasProgIdInterface;
    *out = known ? static_cast<IObjectWithProgID*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetName(LPWSTR* name) override {
    return FAILED(answers_.nameResult) ? answers_.nameResult : SHStrDupW(answers_.name.c_str(), name);
  }
  HRESULT STDMETHODCALLTYPE GetProgID(LPWSTR* progId) override {
    return FAILED(answers_.progIdResult) ? answers_.progIdResult : SHStrDupW(answers_.progId.c_str(), progId);
  }
  HRESULT STDMETHODCALLTYPE GetUIName(LPWSTR* /*name*/) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIconLocation(LPWSTR* /*path*/, int* /*index*/) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsRecommended() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE MakeDefault(LPCWSTR /*description*/) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Invoke(IDataObject* /*data*/) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CreateInvoker(IDataObject* /*data*/, IAssocHandlerInvoker** /*invoker*/) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetProgID(LPCWSTR /*progId*/) override { return E_NOTIMPL; }

 private:
  HandlerAnswers answers_;
};

/// Stands for the shell's enumeration while it lives, which Wine does not have: `handlers` for every extension and
/// protocol, or the error `result`.
class AssocHandlers final : public Lent<IEnumAssocHandlers> {
 public:
  explicit AssocHandlers(const std::vector<HandlerAnswers>& handlers, HRESULT result = S_OK)
      : handlers_(handlers.begin(), handlers.end()), result_(result) {
    current_ = this;
    AppUtil_SetHandlerEnumeration(&kEnumeration);
  }
  ~AssocHandlers() override { AppUtil_SetHandlerEnumeration(nullptr); }
  AssocHandlers(const AssocHandlers&) = delete;
  AssocHandlers& operator=(const AssocHandlers&) = delete;

  /// The keys that were asked for, in order.
  const std::vector<std::wstring>& Keys() const { return keys_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*id*/, void** /*out*/) override { return E_NOINTERFACE; }
  HRESULT STDMETHODCALLTYPE Next(ULONG /*count*/, IAssocHandler** handler, ULONG* fetched) override {
    *fetched = position_ < handlers_.size() ? 1 : 0;
    if (*fetched == 0) return S_FALSE;
    *handler = &handlers_[position_++];
    (*handler)->AddRef();
    return S_OK;
  }

 private:
  static HRESULT Enumerate(const wchar_t* key, IEnumAssocHandlers** handlers) {
    current_->keys_.emplace_back(key);
    current_->position_ = 0;
    if (FAILED(current_->result_)) return current_->result_;
    *handlers = current_;
    current_->AddRef();
    return S_OK;
  }

  static constexpr HandlerEnumeration kEnumeration = {Enumerate, Enumerate};
  static inline AssocHandlers* current_ = nullptr;
  std::vector<AssocHandler> handlers_;
  HRESULT result_;
  std::vector<std::wstring> keys_;
  std::size_t position_ = 0;
};

}  // namespace quarry::test
