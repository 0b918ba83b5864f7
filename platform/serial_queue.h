// A serial work queue: one worker thread runs the submitted tasks one after another, in
// submission order. A document keeps one ("data base queue") and runs every read and change of
// its database on it, so that the database itself needs no locks.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace vemra::platform {

class SerialQueue {
 public:
  // A queue whose worker thread, named `name` (at most 15 characters are shown by the
  // system), is started by the first Submit or Sync.
  explicit SerialQueue(std::string name);
  // Runs the tasks still queued, then stops the worker.
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  // Queues `task` and returns at once. Thread-safe.
  void Submit(std::function<void()> task);
  // Queues `task` and waits until it has run. Called on the worker itself it runs `task` at
  // once (the queue would otherwise wait for itself). Thread-safe.
  void Sync(const std::function<void()>& task);
  // Waits until every task submitted before the call has run. Thread-safe.
  void Drain();
  // True when called from this queue's worker thread.
  bool OnQueue() const;
  const std::string& Name() const { return name_; }

 private:
  void Work();

  const std::string name_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  bool stopping_ = false;
  std::thread worker_;
  std::thread::id worker_id_;
};

}  // namespace vemra::platform
