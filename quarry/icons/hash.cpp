#include "quarry/icons/hash.h"

#include "quarry/diagnostics/log.h"
#include "quarry/diagnostics/timers.h"

#include "lib/misc/noDestructor.h"
#include "lib/misc/platformHandles.h"

#include <limits>

namespace quarry {

namespace {

constexpr DWORD kMd5Size = 16;

UniqueCryptProvider& Provider() {
  static NoDestructor<UniqueCryptProvider> provider;
  return provider.get();
}

bool EnsureProvider() {
  if (Provider()) return true;
  if (CryptAcquireContextW(Provider().put(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) != FALSE)
    return true;
  Log(LogLevel::Error, L"Hash:: CryptAcquireContext failed, error %ld\n", GetLastError());
  return false;
}

std::wstring HexText(std::span<const BYTE> digest) {
  constexpr wchar_t kDigits[] = L"0123456789abcdef";
  std::wstring text;
  for (const BYTE byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace

std::wstring Hash::MD5(std::span<const std::uint8_t> bytes) {
  const TimingScope timing(L"Hash::MD5");
  if (!EnsureProvider()) return {};

  UniqueCryptHash hash;
  if (CryptCreateHash(Provider().get(), CALG_MD5, 0, 0, hash.put()) == FALSE) {
    Log(LogLevel::Error, L"Hash: CryptCreateHash failed, error %ld\n", GetLastError());
    return {};
  }
  // No icon comes near this. CryptHashData takes half of the length: it would hash a beginning and call it the whole.
  if (bytes.size() > std::numeric_limits<DWORD>::max()) SetLastError(ERROR_INVALID_PARAMETER);
  if (bytes.size() > std::numeric_limits<DWORD>::max() ||
      CryptHashData(hash.get(), bytes.data(), static_cast<DWORD>(bytes.size()), 0) == FALSE) {
    Log(LogLevel::Error, L"Hash: CryptHashData failed, error %ld\n", GetLastError());
    return {};
  }
  BYTE digest[kMd5Size];
  DWORD digestSize = sizeof(digest);
  if (CryptGetHashParam(hash.get(), HP_HASHVAL, digest, &digestSize, 0) == FALSE) {
    Log(LogLevel::Error, L"Hash: CryptGetHashParam failed, error %ld\n", GetLastError());
    return {};
  }
  return HexText({digest, digestSize});
}

void Hash::ReleaseProvider() noexcept { Provider().reset(); }

}  // namespace quarry
