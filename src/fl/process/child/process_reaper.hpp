// Waits for children without a thread of its own: the system's thread pool calls back when a child has ended.
//
// All operations may run on any thread. A process may hold its own mutex while it registers a wait; a callback never
// locks that mutex and never touches a process, so that the order of the two locks is fixed. Nothing here but `join`
// waits for a child to end. What a child costs does not grow with the number of the others, in whatever order they end.
#pragma once

#include "process/child/exit_status_promise.hpp"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>

namespace foundation::core::sysdep::windows {

class process_reaper : public std::enable_shared_from_this<process_reaper> {
 public:
  process_reaper() noexcept;
  process_reaper(const process_reaper&) = delete;
  process_reaper& operator=(const process_reaper&) = delete;

  /// As give_up_waits.
  ~process_reaper();

  /// Fulfils `promise` when the process behind `procHandle` ends. Takes ownership of both, also when it fails: then the
  /// handle is closed, the promise breaks, and boost::system::system_error "RegisterWaitForSingleObject" is thrown.
  void async_wait_on(void* procHandle, exit_status_promise&& promise);

  /// Blocks until no child is being waited for and every promise has been fulfilled. A continuation of one of these
  /// futures may call it: it runs inside a callback, which waits neither for itself nor for another one that waits
  /// here.
  void join();

  /// Gives up every wait: children go on, open futures break. Returns when the callbacks that run have come back, but
  /// for those that `join` does not wait for. These still use this object, which is to be held by shared_ptr where a
  /// callback may come to call this.
  void give_up_waits() noexcept;

 private:
  class WaitRecord;
  using record_list = std::list<WaitRecord>;

  // One child that is being waited for.
  class WaitRecord {
   public:
    WaitRecord(process_reaper* reaper, void* processHandle, exit_status_promise&& promise);
    WaitRecord(const WaitRecord&) = delete;
    WaitRecord& operator=(const WaitRecord&) = delete;
    // Outside a callback it waits for one that is about to find the record given up.
    ~WaitRecord();

    void reapChild() noexcept;

    process_reaper* m_reaper;            // the owner, for the callback
    record_list::iterator m_place;       // of this record, in whichever list holds it: nobody searches for it
    void* m_processHandle;               // owned; the duplicate that is waited on
    void* m_waitHandle = nullptr;        // owned; null before the registration
    unsigned long m_callbackThread = 0;  // the id of the thread whose callback reaps the child; 0 if none does
    bool m_givenUp = false;              // a callback must leave the record alone
    exit_status_promise m_promise;       // where the status goes
  };

  static void onSignalled(void* record, unsigned char timed_out);
  void handleProcessExit(WaitRecord* record) noexcept;
  bool onlyWaitingCallbacksAreLeft() const;
  template <class Condition>
  void waitForCallbacks(std::unique_lock<std::mutex>& lock, Condition condition);

  std::mutex m_mutex;                   // guards everything below and the records in the lists
  std::condition_variable m_allReaped;  // broadcast when those who wait may have nothing left to wait for
  record_list m_records;                // registered
  record_list m_reaping;                // of callbacks that still use this object
  std::size_t m_waitingCallbacks = 0;   // those whose continuations wait, in `join` or to give up the waits
  bool m_gaveUpWaits = false;           // somebody waits, or has waited, for the callbacks alone
};

}  // namespace foundation::core::sysdep::windows
