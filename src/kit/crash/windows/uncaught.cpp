#include "crash/windows/uncaught.hpp"

#include <fl/diag/stacktrace.hpp>
#include <fl/diag/unknown_exception_name.hpp>
#include <fl/except/bad_alloc.hpp>
#include <fl/except/iexception.hpp>
#include <i18n/convert.hpp>

#include "common/windows/procedure.hpp"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>

/// The compiler's own demangler in the form that hands its text over piece by piece. 0: all of the name was understood.
extern "C" int __gcclibcxx_demangle_callback(const char* mangled, void (*append)(const char*, std::size_t, void*),
                                             void* object);

namespace foundation::kit {

namespace {

/// Of what a class without a body for one of its functions has in its place.
constinit std::atomic<void (*)()> pure_virtual{nullptr};

bool is_in(const void* return_address, void (*function)()) noexcept {
  // The call is the function's last instruction: what it would return to may be another function's.
  const auto call = reinterpret_cast<DWORD64>(return_address) - 1;
  DWORD64 image = 0;
  const auto* const entry = RtlLookupFunctionEntry(call, &image, nullptr);
  return entry != nullptr && image + entry->BeginAddress == reinterpret_cast<DWORD64>(function);
}

bool pure_virtual_was_called() noexcept {
  void (*const function)() = pure_virtual;
  if (function == nullptr) {
    return false;
  }
  const core::diag::stacktrace<16> stack;
  return std::any_of(stack.begin(), stack.end(), [&](const void* frame) { return is_in(frame, function); });
}

void put_type(text_line& line, const char* name) noexcept {
  // The demangler works on the stack, 64 bytes and more for each character of the name.
  constexpr std::size_t longest = 500;
  const auto append = [](const char* text, std::size_t size, void* object) {
    static_cast<text_line*>(object)->put(std::string_view(text, size));
  };
  name += *name == '*' ? 1 : 0;  // A mark of types that are known in one module only.
  text_line readable;
  const bool understood = std::strlen(name) <= longest && __gcclibcxx_demangle_callback(name, append, &readable) == 0;
  line.put(understood ? readable.view() : name);
}

/// `what()` keeps the text, under a lock that a thread which has stopped may hold.
void put_text_unkept(text_line& line, const core::except::IException& exception) noexcept {
  try {
    line.put(": ").put(fl::i18n::ustring_to_utf8(exception.ToUstring()));
  } catch (...) {
    // Without memory, or without a message.
  }
}

void put_what(text_line& line) noexcept {
  try {
    throw;
  } catch (const core::except::IException& exception) {
    put_text_unkept(line, exception);
  } catch (const core::except::detail::bad_alloc_impl&) {  // Speaks through one of those.
    line.put(": bad allocation");
  } catch (const std::exception& exception) {
    const char* const what = exception.what();
    line.put(": ").put(what != nullptr ? what : "");
  } catch (...) {
    // Its type has been told.
  }
}

}  // namespace

void prepare_uncaught() noexcept {
  pure_virtual =
      core::sysdep::windows::find_procedure<void (*)()>(GetModuleHandleW(L"libstdc++-6.dll"), "__cxa_pure_virtual");
}

void put_uncaught(text_line& line) noexcept {
  if (pure_virtual_was_called()) {
    line.put(": a pure virtual function was called");
  } else if (const char* const name = core::diag::unknown_exception_name()) {
    line.put(": ");
    put_type(line, name);
    put_what(line);
  } else if (std::current_exception()) {
    line.put(": an exception that is none of C++");
  }
}

}  // namespace foundation::kit
