#include "tests/support/assocHandlers.h"

#include "lib/appUtil/handlerEnumeration.h"

#include <shobjidl.h>

#include <cwchar>

namespace quarry::test {

namespace {

std::vector<AssocHandler> g_handlers;
HRESULT g_result = S_OK;
std::vector<std::wstring> g_keys;
int g_liveObjects = 0;

HRESULT GiveOut(const std::wstring& text, HRESULT result, LPWSTR* out) {
  *out = nullptr;
  if (FAILED(result)) return result;
  const std::size_t size = (text.size() + 1) * sizeof(wchar_t);
  *out = static_cast<LPWSTR>(CoTaskMemAlloc(size));
  if (*out == nullptr) return E_OUTOFMEMORY;
  std::wmemcpy(*out, text.c_str(), text.size() + 1);
  return S_OK;
}

class HandlerObject final : public IAssocHandler, public IObjectWithProgID {
 public:
  explicit HandlerObject(AssocHandler handler) : handler_(std::move(handler)) { ++g_liveObjects; }
  virtual ~HandlerObject() { --g_liveObjects; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
    *out = nullptr;
    if (IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IAssocHandler)) {
      *out = static_cast<IAssocHandler*>(this);
    } else if (IsEqualIID(id, IID_IObjectWithProgID) && handler_.hasProgIdInterface) {
      *out = static_cast<IObjectWithProgID*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetName(LPWSTR* name) override { return GiveOut(handler_.name, handler_.nameResult, name); }
  HRESULT STDMETHODCALLTYPE GetProgID(LPWSTR* progId) override {
    return GiveOut(handler_.progId, handler_.progIdResult, progId);
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
  AssocHandler handler_;
  ULONG references_ = 1;
};

class EnumeratorObject final : public IEnumAssocHandlers {
 public:
  EnumeratorObject() { ++g_liveObjects; }
  virtual ~EnumeratorObject() { --g_liveObjects; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*id*/, void** out) override {
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE Next(ULONG /*count*/, IAssocHandler** handler, ULONG* fetched) override {
    *fetched = 0;
    if (position_ == g_handlers.size()) return S_FALSE;
    *handler = new HandlerObject(g_handlers[position_++]);
    *fetched = 1;
    return S_OK;
  }

 private:
  std::size_t position_ = 0;
  ULONG references_ = 1;
};

HRESULT Enumerate(const wchar_t* key, IEnumAssocHandlers** handlers) {
  g_keys.emplace_back(key);
  if (FAILED(g_result)) return g_result;
  *handlers = new EnumeratorObject();
  return S_OK;
}

constexpr HandlerEnumeration kEnumeration = {Enumerate, Enumerate};

}  // namespace

AssocHandlers::AssocHandlers(std::vector<AssocHandler> handlers, HRESULT result) {
  g_handlers = std::move(handlers);
  g_result = result;
  g_keys.clear();
  AppUtil_SetHandlerEnumeration(&kEnumeration);
}

AssocHandlers::~AssocHandlers() { AppUtil_SetHandlerEnumeration(nullptr); }

const std::vector<std::wstring>& AssocHandlers::Keys() { return g_keys; }

int AssocHandlers::LiveObjects() { return g_liveObjects; }

}  // namespace quarry::test
