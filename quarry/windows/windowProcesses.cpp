#include "quarry/windows/windowProcesses.h"

#include "quarry/diagnostics/log.h"
#include "quarry/windows/verboseWindowLog.h"

namespace quarry {

namespace {

WindowProcess ProcessUnknown() {
  VerboseLog(L"Failed to get window process data\n");
  return {};
}

}  // namespace

WindowProcess WindowProcesses::Of(HWND window) {
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  if (processId == 0) {
    Log(LogLevel::Error, L"GetWindowThreadProcessId failed! error %ld\n", GetLastError());
    return ProcessUnknown();
  }
  auto known = answers_.find(processId);
  if (known == answers_.end()) known = answers_.emplace(processId, Ask(processId)).first;
  const Answer& answer = known->second;
  if (!answer.process) {
    VerboseLog(L"OpenProcess failed, process=%ld, error=%ld\n", processId, answer.error);
    return ProcessUnknown();
  }
  if (answer.error != ERROR_SUCCESS) {
    Log(LogLevel::Error, L"QueryFullProcessImageName failed! error %ld\n", answer.error);
    return ProcessUnknown();
  }
  return {static_cast<std::int32_t>(processId), answer.imagePath};
}

WindowProcesses::Answer WindowProcesses::Ask(DWORD processId) {
  Answer answer;
  answer.process.attach(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  wchar_t path[MAX_PATH] = {};
  DWORD length = MAX_PATH;
  if (answer.process && QueryFullProcessImageNameW(answer.process.get(), 0, path, &length) != FALSE) {
    answer.imagePath = path;
  } else {
    answer.error = GetLastError();
  }
  return answer;
}

}  // namespace quarry
