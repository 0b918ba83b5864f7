#include "platform/serial_queue.h"

#include <pthread.h>

#include <future>

namespace vemra::platform {

SerialQueue::SerialQueue(std::string name) : name_(std::move(name)) {}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (worker_.joinable()) worker_.join();
}

void SerialQueue::Submit(std::function<void()> task) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    if (!worker_.joinable()) {
      worker_ = std::thread([this] { Work(); });
      worker_id_ = worker_.get_id();
    }
  }
  wake_.notify_one();
}

void SerialQueue::Sync(const std::function<void()>& task) {
  if (OnQueue()) {
    task();
    return;
  }
  std::promise<void> done;
  Submit([&] {
    task();
    done.set_value();
  });
  done.get_future().wait();
}

void SerialQueue::Drain() {
  Sync([] {});
}

bool SerialQueue::OnQueue() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return worker_.joinable() && worker_id_ == std::this_thread::get_id();
}

void SerialQueue::Work() {
  pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    wake_.wait(lock, [&] { return stopping_ || !tasks_.empty(); });
    if (tasks_.empty()) return;  // stopping, and nothing left to run
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace vemra::platform
