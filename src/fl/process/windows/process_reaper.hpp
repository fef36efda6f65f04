// Waits for children without a thread of its own: the system's thread pool calls back when a child has ended.
//
// One reaper per library instance, made at first use. All operations may run on any thread. A process may hold its own
// mutex while it registers a wait; a callback never takes that mutex and never touches a process, so that the order of
// the two locks is fixed. Nothing here waits for a child to end.
#pragma once

#include <fl/process/exit_status.hpp>

#include <boost/thread/future.hpp>

#include <condition_variable>
#include <list>
#include <mutex>

namespace foundation::core::sysdep::windows {

using exit_status_promise = boost::promise<process::exit_status_variant>;

class process_reaper {
 public:
  process_reaper() = default;
  process_reaper(const process_reaper&) = delete;
  process_reaper& operator=(const process_reaper&) = delete;

  /// Drops every wait, after callbacks that are running have come back; children go on, open futures break.
  ~process_reaper();

  /// Fulfils `promise` when the process behind `procHandle` ends. Takes over both, also when it fails: then the handle
  /// is closed, the promise breaks, and boost::system::system_error "RegisterWaitForSingleObject" is thrown.
  void async_wait_on(void* procHandle, exit_status_promise&& promise);

  /// Blocks until no child is being waited for and every promise has been fulfilled. Not to be called from a
  /// continuation of one of these futures, which runs inside a callback.
  void join();

 private:
  // One child that is being waited for. Registered while it stands in the list; the callback or the reaper's destructor
  // moves it out, which leaves null handles behind.
  class WaitRecord {
   public:
    WaitRecord(process_reaper* reaper, void* processHandle, exit_status_promise&& promise);
    WaitRecord(WaitRecord&& other) noexcept;
    WaitRecord& operator=(WaitRecord&&) = delete;
    ~WaitRecord();

    void registerWait();
    void reapChild() noexcept;

    process_reaper* m_reaper;       // the owner, for the callback
    void* m_processHandle;          // owned; the duplicate that is waited on
    void* m_waitHandle = nullptr;   // owned; null in a moved-from record
    bool m_inCallback = false;      // true only in the callback's own copy: it must not wait for itself
    exit_status_promise m_promise;  // where the status goes
  };

  void handleProcessExit(WaitRecord* record) noexcept;
  static void onSignalled(void* record, unsigned char timed_out);

  std::mutex m_mutex;                   // guards everything below and the records in the list
  std::condition_variable m_allReaped;  // broadcast when the last child has been reaped
  std::list<WaitRecord> m_records;
  unsigned m_inFlight = 0;  // callbacks that have taken their record and still use this object
  bool m_closing = false;   // the destructor waits for those callbacks
};

/// The reaper of this library instance; a replacement that the test hooks asked for happens here.
process_reaper& process_reaper_instance();

}  // namespace foundation::core::sysdep::windows
