// Lists what this host publishes. quarry.dll lies beside this program.
#include "quarry/quarry.hpp"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

int main() {
  _setmode(_fileno(stdout), _O_U8TEXT);
  _setmode(_fileno(stderr), _O_U8TEXT);
  quarry::Library library = quarry::Library::OpenBesideProgram([](quarry::LogLevel level, quarry::Text message) {
    if (level == quarry::LogLevel::Error) std::fwprintf(stderr, L"%ls", message.c_str());
  });
  if (!library) return 1;
  for (const quarry::Application application : library.Scan()) {
    std::wprintf(L"%ls -> %ls\n", application.ProductName().c_str(), application.TargetPath().c_str());
  }
}
