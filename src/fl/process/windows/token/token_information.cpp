#include "process/windows/token/token_information.hpp"

namespace foundation::core::sysdep::windows {

DWORD token_information_size(HANDLE token, TOKEN_INFORMATION_CLASS question) {
  DWORD size = 0;
  ::GetTokenInformation(token, question, nullptr, 0, &size);
  return size;
}

std::vector<std::byte> token_information(HANDLE token, TOKEN_INFORMATION_CLASS question, DWORD size) {
  std::vector<std::byte> answer(size);
  if (!::GetTokenInformation(token, question, answer.data(), size, &size)) {
    answer.clear();
  }
  return answer;
}

}  // namespace foundation::core::sysdep::windows
