// child MODE [ARGUMENT...]: what tests want of a child process, without any library of ours.
//
// args ARGUMENT...         writes every argument to standard output as a record: its length in bytes as a 32-bit
//                          little-endian number, then the bytes (UTF-8). They are those of the C run-time,
// system-args ARGUMENT...  or those of CommandLineToArgvW.
// close STREAMS MODE ARGUMENT...
//                          closes standard streams (of i, o and e those that are named), then does what MODE says.
// echo [TEXT]              writes the text to standard error and copies standard input to standard output.
// env                      writes every entry of its environment block as a line of UTF-8, in the block's order, then
//                          the variable "name" as narrow programs see it, and the current directory.
// exit CODE...             ends with the 32-bit code (decimal, negative or 0x…), whatever follows.
// flood BYTES              writes as many bytes to both outputs, in turn and in pieces, then reads its input to the end
//                          and writes how many bytes that had.
// handles HANDLE...        takes each handle value (decimal) for that of an event and sets it. By chance it can be one
//                          that this process has opened for itself: the parent looks which events are set.
// pipe DESCRIPTOR          takes over the read end that a descriptor names: writes the pending character to standard
//                          output and copies what the handle gives there. Bytes go through as they are.
// leave ARGUMENT...        starts this program with these arguments, words without special characters, with the same
//                          streams, and ends.
// start ARGUMENT...        does the same, but waits for it.
// tree EVENT_NAME          leaves a process behind that waits for that event, writes "ready" and waits for it, too.
// traffic OUT ERR [DESCRIPTOR]
//                          reads its input to the end, and then the read end that a descriptor names; writes a header,
//                          as many bytes to standard output as OUT says, closes it, and does the same for the error
//                          output, if that is another one. Its code is that of the sums (traffic.hpp).
// wait EVENT_NAME          waits until that event is set.
// out TEXT, err TEXT       writes the text to standard output or error.
#include "traffic.hpp"

#include <windows.h>
#include <shellapi.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <map>
#include <sstream>
#include <string>
#include <vector>

// Keeps the C run-time's start-up from expanding * and ? in arguments: a child sees them as they were given.
extern "C" {
int _dowildcard = 0;
}

namespace {

const HANDLE in = ::GetStdHandle(STD_INPUT_HANDLE);
const HANDLE out = ::GetStdHandle(STD_OUTPUT_HANDLE);
const HANDLE err = ::GetStdHandle(STD_ERROR_HANDLE);

// No bytes are no write: the reader of a pipe would see an end.
void write_all(HANDLE to, std::string_view bytes) {
  DWORD put = 0;
  if (!bytes.empty() && !::WriteFile(to, bytes.data(), static_cast<DWORD>(bytes.size()), &put, nullptr)) {
    ::ExitProcess(1);
  }
}

template <class Take>
void read_all(HANDLE from, Take take) {
  static char buffer[65536];
  DWORD got = 0;
  // A file ends with 0 bytes, a pipe with ERROR_BROKEN_PIPE: there 0 bytes are an empty write of the other side.
  while (::ReadFile(from, buffer, sizeof buffer, &got, nullptr) &&
         (got != 0 || ::GetFileType(from) == FILE_TYPE_PIPE)) {
    take(std::string_view(buffer, got));
  }
}

void copy_all(HANDLE from, HANDLE to) {
  read_all(from, [to](std::string_view bytes) { write_all(to, bytes); });
}

std::string to_utf8(std::wstring_view wide) {
  std::string bytes(wide.size() * 3, '\0');
  bytes.resize(
      static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
  return bytes;
}

using arguments = std::vector<std::wstring>;  // those behind the mode

std::uint64_t number(const std::wstring& text) {
  return static_cast<std::uint64_t>(std::wcstoll(text.c_str(), nullptr, 0));
}

void tell_arguments(const arguments& given) {
  std::string records;
  for (const std::wstring& argument : given) {
    const std::string text = to_utf8(argument);
    const auto length = static_cast<std::uint32_t>(text.size());
    records.append(reinterpret_cast<const char*>(&length), sizeof length) += text;
  }
  write_all(out, records);
}

void tell_system_arguments(const arguments&) {
  int count = 0;
  wchar_t** const all = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  tell_arguments(arguments(all + 2, all + count));
}

void echo(const arguments& given) {
  write_all(err, given.empty() ? "" : to_utf8(given[0]));
  copy_all(in, out);
}

void tell_environment(const arguments&) {
  std::string lines;
  for (const wchar_t* entry = ::GetEnvironmentStringsW(); *entry; entry += std::wcslen(entry) + 1) {
    lines += to_utf8(entry) + "\n";
  }
  char narrow[64] = "";
  wchar_t directory[1024] = L"";
  ::GetEnvironmentVariableA("name", narrow, sizeof narrow);
  ::GetCurrentDirectoryW(1024, directory);
  write_all(out, lines + narrow + "\n" + to_utf8(directory) + "\n");
}

void set_events(const arguments& given) {
  for (const std::wstring& value : given) {
    ::SetEvent(reinterpret_cast<HANDLE>(number(value)));
  }
}

void take_over_pipe(const arguments& given) {
  std::uintptr_t read = 0, write = 0;
  int text = 0, pending = 0, character = 0;
  std::wistringstream(given[0]) >> read >> write >> text >> pending >> character;
  write_all(out, std::string(pending != 0 ? 1 : 0, static_cast<char>(character)));
  copy_all(reinterpret_cast<HANDLE>(read), out);
}

void wait(const arguments& given) {
  ::WaitForSingleObject(::OpenEventW(SYNCHRONIZE, FALSE, given[0].c_str()), INFINITE);
}

HANDLE read_end(const std::wstring& descriptor) {
  return reinterpret_cast<HANDLE>(number(descriptor));
}

void exchange_traffic(const arguments& given) {
  traffic::checksum read, written;
  traffic::header sums{};
  const auto take = [&](std::string_view bytes) {
    read.add(bytes);
    sums.bytes_read += bytes.size();
  };
  read_all(in, take);
  if (given.size() == 3) {
    read_all(read_end(given[2]), take);
  }
  const std::string own = traffic::content(read.value, number(given[0]));
  const std::string error = traffic::content(~read.value, number(given[1]));
  written.add(own);
  written.add(error);
  sums = {sums.bytes_read, read.value, own.size() + error.size(), written.value};
  write_all(out, {reinterpret_cast<const char*>(&sums), sizeof sums});
  write_all(out, own);
  ::CloseHandle(out);  // The parent reads to the end here, before it reads the other output.
  write_all(err, error);
  ::ExitProcess(traffic::exit_code(sums));
}

void flood(const arguments& given) {
  const std::string piece(5000, 'x');
  for (std::uint64_t rest = number(given[0]); rest != 0; rest -= std::min<std::uint64_t>(rest, piece.size())) {
    const std::string_view part = std::string_view(piece).substr(0, rest);
    write_all(out, part);
    write_all(err, part);
  }
  std::uint64_t taken = 0;
  char buffer[4096];
  DWORD got = 0;
  while (::ReadFile(in, buffer, sizeof buffer, &got, nullptr) && got != 0) {
    taken += got;
  }
  write_all(out, std::to_string(taken));
}

HANDLE start_this_program(const arguments& given) {
  wchar_t program[1024] = L"";
  ::GetModuleFileNameW(nullptr, program, 1024);
  std::wstring line = L"child";
  for (const std::wstring& argument : given) {
    line += L" " + argument;
  }
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in;
  startup.hStdOutput = out;
  startup.hStdError = err;
  PROCESS_INFORMATION made = {};
  ::CreateProcessW(program, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &made);
  return made.hProcess;
}

void start(const arguments& given) {
  ::WaitForSingleObject(start_this_program(given), INFINITE);
}

void tree(const arguments& given) {
  start_this_program({L"wait", given[0]});
  write_all(out, "ready");
  wait(given);
}

void run(const std::wstring& mode, const arguments& given);

void close_streams(const arguments& given) {
  for (const wchar_t stream : given[0]) {
    ::CloseHandle(stream == L'i' ? in : stream == L'o' ? out : err);
  }
  run(given[1], arguments(given.begin() + 2, given.end()));
}

const std::map<std::wstring, void (*)(const arguments&)> modes = {
    {L"args", tell_arguments},
    {L"system-args", tell_system_arguments},
    {L"close", close_streams},
    {L"echo", echo},
    {L"env", tell_environment},
    {L"exit", [](const arguments& given) { ::ExitProcess(static_cast<UINT>(number(given[0]))); }},
    {L"flood", flood},
    {L"handles", set_events},
    {L"leave", [](const arguments& given) { start_this_program(given); }},
    {L"pipe", take_over_pipe},
    {L"start", start},
    {L"tree", tree},
    {L"traffic", exchange_traffic},
    {L"wait", wait},
    {L"out", [](const arguments& given) { write_all(out, to_utf8(given[0])); }},
    {L"err", [](const arguments& given) { write_all(err, to_utf8(given[0])); }},
};

void run(const std::wstring& mode, const arguments& given) {
  modes.at(mode)(given);
}

}  // namespace

int wmain(int count, wchar_t** given) {
  run(given[1], arguments(given + 2, given + count));
  return 0;
}
