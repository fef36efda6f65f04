#include "process/windows/process_reaper.hpp"

#include "loggers.hpp"
#include "process/windows/exit_code.hpp"
#include "process/windows/handle_closer.hpp"
#include "process/windows/last_error.hpp"

#include <windows.h>

#include <boost/exception_ptr.hpp>
#include <boost/system/system_error.hpp>

#include <algorithm>
#include <utility>
#include <vector>

namespace foundation::core::sysdep::windows {

namespace severity = log::severity;

process_reaper::WaitRecord::WaitRecord(process_reaper* reaper, void* processHandle, exit_status_promise&& promise)
    : m_reaper(reaper), m_processHandle(processHandle), m_promise(std::move(promise)) {}

process_reaper::WaitRecord::WaitRecord(WaitRecord&& other) noexcept
    : m_reaper(other.m_reaper),
      m_processHandle(std::exchange(other.m_processHandle, nullptr)),
      m_waitHandle(std::exchange(other.m_waitHandle, nullptr)),
      m_inCallback(std::exchange(other.m_inCallback, false)),
      m_promise(std::move(other.m_promise)) {}

process_reaper::WaitRecord::~WaitRecord() {
  if (m_waitHandle)
    ::UnregisterWaitEx(m_waitHandle, m_inCallback ? nullptr : INVALID_HANDLE_VALUE);
  if (m_processHandle)
    ::CloseHandle(m_processHandle);
}

void process_reaper::WaitRecord::registerWait() {
  if (::RegisterWaitForSingleObject(&m_waitHandle, m_processHandle, &process_reaper::onSignalled, this, INFINITE,
                                    WT_EXECUTEONLYONCE))
    return;
  const DWORD code = ::GetLastError();
  ::CloseHandle(std::exchange(m_processHandle, nullptr));
  m_waitHandle = nullptr;
  throw_last_error(code, "RegisterWaitForSingleObject");
}

void process_reaper::WaitRecord::reapChild() noexcept {
  const log::scope_trace trace(loggers::process_reaper, __PRETTY_FUNCTION__);
  loggers::process_reaper.log(severity::arguments, " m_processHandle=", m_processHandle);
  try {
    // The handle is signalled, or this would not run: waiting once more would cost a system call for each child.
    m_promise.set_value(read_exit_status(m_processHandle));
  } catch (const boost::system::system_error& e) {
    m_promise.set_exception(boost::copy_exception(e));
  }
}

void process_reaper::async_wait_on(void* procHandle, exit_status_promise&& promise) {
  const log::scope_trace trace(loggers::process_reaper, __PRETTY_FUNCTION__);
  loggers::process_reaper.log(severity::arguments, " procHandle=", procHandle);
  HandleCloser<void*> owner(procHandle);
  const std::lock_guard<std::mutex> lock(m_mutex);
  // Registered under the lock: the callback of a child that has ended already finds the record in the list.
  std::list<WaitRecord> node;
  node.emplace_back(this, procHandle, std::move(promise));
  owner.mode = CloseOnDestruction::leave;
  node.back().registerWait();
  m_records.splice(m_records.end(), node);
}

void process_reaper::onSignalled(void* record, unsigned char) {
  const auto wait_record = static_cast<WaitRecord*>(record);
  wait_record->m_reaper->handleProcessExit(wait_record);
}

void process_reaper::handleProcessExit(WaitRecord* record) noexcept {
  const log::scope_trace trace(loggers::process_reaper, __PRETTY_FUNCTION__);
  std::unique_lock<std::mutex> lock(m_mutex);
  if (!record->m_waitHandle)
    return;  // The destructor has taken it and waits for this callback.
  WaitRecord local(std::move(*record));
  local.m_inCallback = true;
  // Children mostly end in the order in which they were registered, so that the search is short.
  m_records.erase(
      std::find_if(m_records.begin(), m_records.end(), [record](const WaitRecord& other) { return &other == record; }));
  ++m_inFlight;
  lock.unlock();
  local.reapChild();
  // Told under the lock: once it is released the destructor may go on, and this object may be gone. The wait and the
  // handle of the local record are let go of after that.
  lock.lock();
  if (--m_inFlight == 0 && (m_records.empty() || m_closing))
    m_allReaped.notify_all();
  lock.unlock();
}

void process_reaper::join() {
  std::unique_lock<std::mutex> lock(m_mutex);
  m_allReaped.wait(lock, [this] { return m_records.empty() && m_inFlight == 0; });
}

process_reaper::~process_reaper() {
  // The nodes stay in the list until the end: a callback that comes now finds its record taken and leaves.
  std::vector<WaitRecord> abandoned;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    abandoned.reserve(m_records.size());
    for (WaitRecord& record : m_records)
      abandoned.push_back(std::move(record));
  }
  // Outside the lock, since each waits for a callback that may be about to take it.
  abandoned.clear();
  std::unique_lock<std::mutex> lock(m_mutex);
  m_closing = true;
  m_allReaped.wait(lock, [this] { return m_inFlight == 0; });
}

}  // namespace foundation::core::sysdep::windows
