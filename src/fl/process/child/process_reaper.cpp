#include "process/child/process_reaper.hpp"

#include "loggers.hpp"
#include "process/child/exit_code.hpp"
#include "process/child/process_reaper_impl.hpp"
#include "util/thread_id.hpp"

#include <boost/thread/exceptions.hpp>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace foundation::core::sysdep::windows {

namespace severity = log::severity;

process_reaper::WaitRecord::WaitRecord(process_reaper* reaper, void* processHandle, exit_status_promise&& promise)
    : m_reaper(reaper), m_processHandle(processHandle), m_promise(std::move(promise)) {}

process_reaper::WaitRecord::~WaitRecord() {
  if (m_waitHandle && m_callbackThread != 0) {
    unregister_wait_in_callback(m_waitHandle);
  } else if (m_waitHandle) {
    unregister_wait(m_waitHandle);
  }
  close_process_handle(m_processHandle);
}

void process_reaper::WaitRecord::reapChild() noexcept {
  const log::scope_trace trace(loggers::process_reaper, __PRETTY_FUNCTION__);
  loggers::process_reaper.log(severity::arguments, " m_processHandle=", m_processHandle);
  try {
    // The handle is signalled, or this would not run: waiting once more would cost a system call for each child.
    m_promise.answer([this] { return read_exit_status(m_processHandle); });
  } catch (const std::bad_alloc&) {  // The promise breaks if it has no answer yet.
  } catch (const boost::thread_resource_error&) {
  }
}

process_reaper::process_reaper() noexcept {
  prepare_callbacks();
}

process_reaper::~process_reaper() {
  give_up_waits();
}

void process_reaper::async_wait_on(void* procHandle, exit_status_promise&& promise) {
  const log::scope_trace trace(loggers::process_reaper, __PRETTY_FUNCTION__);
  loggers::process_reaper.log(severity::arguments, " procHandle=", procHandle);
  std::unique_ptr<void, decltype(&close_process_handle)> owner(procHandle, &close_process_handle);
  record_list node;
  WaitRecord& record = node.emplace_back(this, procHandle, std::move(promise));
  owner.release();
  record.m_place = node.begin();  // Stays that of the record when the node moves to another list.
  // Registered under the lock: the callback of a child that has ended already finds the record in the list. After a
  // refusal the promise breaks outside of it, since that runs continuations.
  const std::lock_guard<std::mutex> lock(m_mutex);
  record.m_waitHandle = register_wait(procHandle, &process_reaper::onSignalled, &record);
  m_records.splice(m_records.end(), node);
}

void process_reaper::onSignalled(void* record, unsigned char) {
  const auto wait_record = static_cast<WaitRecord*>(record);
  wait_record->m_reaper->handleProcessExit(wait_record);
}

void process_reaper::handleProcessExit(WaitRecord* record) noexcept {
  const auto self = weak_from_this().lock();  // A continuation may replace this object, and does not wait for itself.
  const log::scope_trace trace(loggers::process_reaper, __PRETTY_FUNCTION__);
  record_list done;  // Goes after the lock, and so do the handles of the record.
  std::unique_lock<std::mutex> lock(m_mutex);
  if (record->m_givenUp) {
    return;
  }
  record->m_callbackThread = util::current_thread_id();
  m_reaping.splice(m_reaping.end(), m_records, record->m_place);
  lock.unlock();
  record->reapChild();
  // Notifies under the lock: once it is released, who waits may go on, and this object may be gone.
  lock.lock();
  done.splice(done.end(), m_reaping, record->m_place);
  if ((m_records.empty() || m_gaveUpWaits) && onlyWaitingCallbacksAreLeft()) {
    m_allReaped.notify_all();
  }
}

bool process_reaper::onlyWaitingCallbacksAreLeft() const {
  return m_waitingCallbacks == m_reaping.size();
}

// Waits for `condition`, and for the callbacks: all of them, but for a caller that runs inside one of them only those
// that do not wait here themselves. Two callbacks would otherwise wait for each other.
template <class Condition>
void process_reaper::waitForCallbacks(std::unique_lock<std::mutex>& lock, Condition condition) {
  const auto own = std::find_if(m_reaping.begin(), m_reaping.end(), [](const WaitRecord& record) {
    return record.m_callbackThread == util::current_thread_id();
  });
  if (own == m_reaping.end()) {
    m_allReaped.wait(lock, [&] { return condition() && m_reaping.empty(); });
    return;
  }
  ++m_waitingCallbacks;
  m_allReaped.notify_all();
  m_allReaped.wait(lock, [&] { return condition() && onlyWaitingCallbacksAreLeft(); });
  --m_waitingCallbacks;
}

void process_reaper::join() {
  std::unique_lock<std::mutex> lock(m_mutex);
  waitForCallbacks(lock, [this] { return m_records.empty(); });
}

void process_reaper::give_up_waits() noexcept {
  record_list given_up;
  std::unique_lock<std::mutex> lock(m_mutex);
  m_gaveUpWaits = true;
  given_up.swap(m_records);
  for (WaitRecord& record : given_up) {
    record.m_givenUp = true;
  }
  lock.unlock();
  given_up.clear();  // Without the lock: each waits for a callback that may be about to look at it.
  lock.lock();
  m_allReaped.notify_all();  // Those in `join` have nothing to wait for any more.
  waitForCallbacks(lock, [] { return true; });
}

}  // namespace foundation::core::sysdep::windows
