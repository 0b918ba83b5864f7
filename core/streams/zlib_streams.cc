#include "core/streams/zlib_streams.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "core/streams/codec.h"

namespace vemra {
namespace {

constexpr size_t kInChunk = 1 << 16;
constexpr size_t kOutChunk = 1 << 16;

// Asks a worker thread to stop, wakes it and waits for it (a thread never started is fine).
void StopWorker(std::mutex& mutex, std::condition_variable& changed, bool& stop,
                std::thread& thread) {
  {
    std::lock_guard<std::mutex> lock(mutex);
    stop = true;
  }
  changed.notify_all();
  if (thread.joinable()) thread.join();
}

}  // namespace

// The decompressing worker and the blocks it hands over. Blocks travel in `ready`; the reader
// gives finished blocks back through `spare` so that their memory is reused. The first block is
// decompressed on the reader's thread; the thread starts only when there is more, so small
// streams never pay for one.
struct InflateInputStream::Worker {
  static constexpr size_t kBlock = 1 << 20;
  // Blocks start small and grow to kBlock, so that a small stream (a part, a fuzzer's input)
  // costs memory in proportion to its data.
  static constexpr size_t kFirstBlock = 1 << 16;
  static constexpr size_t kAhead = 4;  // blocks decompressed ahead of the reader

  explicit Worker(IInputStream& src) : source(src), in(kInChunk) {}
  ~Worker() { StopWorker(mutex, changed, stop, thread); }

  // Decompresses one block into `ready`; returns false when there is nothing more to do.
  bool Step() {
    ByteBlock block;
    {
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait(lock, [&] { return stop || ready.size() < kAhead; });
      if (stop || status != 1) return false;
      if (!spare.empty()) {
        block = std::move(spare.back());
        spare.pop_back();
      }
    }
    int32_t result = 1;
    const size_t size = block_size;
    block_size = std::min(block_size * 4, kBlock);
    block.resize(size);
    cb.next_out = block.data();
    cb.avail_out = size;
    while (cb.avail_out > 0 && result == 1) {
      if (cb.avail_in == 0 && !input_ended) {
        size_t got = source.Read(in.data(), in.size());
        input_ended = got == 0;
        cb.next_in = in.data();
        cb.avail_in = got;
      }
      const size_t room = cb.avail_out;
      result = inflater.Run(cb);
      // The compressed data ended before its end marker.
      if (result == kCodecMore && input_ended && cb.avail_out == room) result = kCodecDamaged;
    }
    block.resize(size - cb.avail_out);
    std::lock_guard<std::mutex> lock(mutex);
    if (!block.empty()) ready.push_back(std::move(block));
    if (result != 1) status = result;
    changed.notify_all();
    return result == 1;
  }

  // Waits for the next block; false once the data ended (or failed) and all blocks were taken.
  bool Next(ByteBlock& block) {
    if (!thread.joinable() && Step())
      thread = std::thread([this] {
        while (Step()) {
        }
      });
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return !ready.empty() || status != 1; });
    if (ready.empty()) return false;
    block = std::move(ready.front());
    ready.pop_front();
    changed.notify_all();
    return true;
  }

  void GiveBack(ByteBlock&& block) {
    std::lock_guard<std::mutex> lock(mutex);
    if (spare.size() < kAhead) spare.push_back(std::move(block));
  }

  int32_t Status() {
    std::lock_guard<std::mutex> lock(mutex);
    return status;
  }

  IInputStream& source;
  // Used by Step only: on the reader's thread first, then on the worker's.
  Inflater inflater;
  CodecBuffers cb;
  bool input_ended = false;
  ByteBlock in;
  size_t block_size = kFirstBlock;  // of the next block
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<ByteBlock> ready;
  std::vector<ByteBlock> spare;
  int32_t status = 1;  // 1 running, 0 complete, otherwise the failure code
  bool stop = false;
  std::thread thread;
};

InflateInputStream::InflateInputStream(IInputStream& source)
    : worker_(std::make_unique<Worker>(source)) {}

InflateInputStream::~InflateInputStream() = default;

bool InflateInputStream::Fill() {
  // Give back blocks that lie wholly before the kept window.
  uint64_t keep_from = pos_ > kKeepBehind ? pos_ - kKeepBehind : 0;
  while (!window_.empty() && base_ + window_.front().size() <= keep_from) {
    base_ += window_.front().size();
    worker_->GiveBack(std::move(window_.front()));
    window_.erase(window_.begin());
  }
  ByteBlock block;
  if (!worker_->Next(block)) return false;
  end_ += block.size();
  window_.push_back(std::move(block));
  return true;
}

size_t InflateInputStream::Read(void* dst, size_t n) {
  auto* out = static_cast<uint8_t*>(dst);
  size_t done = 0;
  while (done < n) {
    if (pos_ >= end_) {
      if (!Fill()) {
        eof_ = true;
        break;
      }
      continue;
    }
    // Find the block holding pos_, usually the last one.
    uint64_t block_base = end_;
    size_t i = window_.size();
    do {
      --i;
      block_base -= window_[i].size();
    } while (block_base > pos_);
    size_t offset = static_cast<size_t>(pos_ - block_base);
    size_t take = std::min(window_[i].size() - offset, n - done);
    std::memcpy(out + done, window_[i].data() + offset, take);
    pos_ += take;
    done += take;
  }
  return done;
}

bool InflateInputStream::Seek(int64_t offset) {
  if (offset < 0 || static_cast<uint64_t>(offset) < base_) return false;
  pos_ = static_cast<uint64_t>(offset);
  eof_ = false;
  return true;
}

int32_t InflateInputStream::Finish() {
  while (true) {
    pos_ = end_;
    if (!Fill()) break;
  }
  return worker_->Status();
}

// The compressing worker. Filled blocks travel in `full`; emptied ones come back in `spare`.
// The thread starts with the second block; a stream that fits in one block is compressed on the
// writer's thread when it finishes.
struct DeflateOutputStream::Worker {
  static constexpr size_t kBlock = 1 << 20;
  static constexpr size_t kAhead = 4;

  explicit Worker(IOutputStream& sink_stream) : sink(sink_stream), out(kOutChunk) {}
  ~Worker() { StopWorker(mutex, changed, stop, thread); }

  // Compresses the next queued block; returns false when there is nothing more to do.
  bool Step() {
    ByteBlock block;
    bool done;
    {
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait(lock, [&] { return stop || !full.empty(); });
      if (full.empty() || finished) return false;  // stopped without a last block: abandoned
      block = std::move(full.front());
      full.pop_front();
      done = last_queued && full.empty();
    }
    bool ok = !failed;
    if (ok) {
      CodecBuffers cb{block.data(), block.size(), nullptr, 0};
      int32_t rc;
      do {
        cb.next_out = out.data();
        cb.avail_out = out.size();
        rc = deflater.Run(cb, done);
        size_t have = out.size() - cb.avail_out;
        if (rc < 0 || (have > 0 && sink.Write(out.data(), have) != have)) {
          ok = false;
          break;
        }
      } while (cb.avail_in > 0 || (done && rc != kCodecEnd));
    }
    block.clear();
    std::lock_guard<std::mutex> lock(mutex);
    if (!ok) failed = true;
    if (spare.size() < kAhead) spare.push_back(std::move(block));
    if (done) finished = true;
    changed.notify_all();
    return !done;
  }

  // Queues `block` (the last one when `last`) and returns an empty block to fill next; false
  // once the worker failed.
  bool Hand(ByteBlock& block, bool last) {
    if (!last && !thread.joinable())
      thread = std::thread([this] {
        while (Step()) {
        }
      });
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return failed || full.size() < kAhead; });
    if (failed) return false;
    full.push_back(std::move(block));
    last_queued = last;
    block.clear();
    if (!spare.empty()) {
      block = std::move(spare.back());
      spare.pop_back();
    }
    changed.notify_all();
    return true;
  }

  // Waits for the last block to be compressed (compressing it here when no thread runs); true
  // when everything reached the sink.
  bool Wait() {
    if (!thread.joinable()) {
      while (Step()) {
      }
    }
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return failed || finished; });
    return !failed;
  }

  IOutputStream& sink;
  Deflater deflater;  // used by Step only: on the worker's thread, or on the writer's at the end
  ByteBlock out;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<ByteBlock> full;
  std::vector<ByteBlock> spare;
  bool last_queued = false;
  bool finished = false;
  bool failed = false;
  bool stop = false;
  std::thread thread;
};

DeflateOutputStream::DeflateOutputStream(IOutputStream& sink)
    : worker_(std::make_unique<Worker>(sink)) {
  // The first block grows with what is written, so that a small stream stays small; a stream
  // that fills it gets whole blocks from then on.
  block_.reserve(kInChunk);
}

DeflateOutputStream::~DeflateOutputStream() = default;

void DeflateOutputStream::Flush(bool last) {
  if (!worker_->Hand(block_, last)) failed_ = true;
  block_.reserve(Worker::kBlock);
}

size_t DeflateOutputStream::Write(const void* src, size_t n) {
  if (failed_ || finished_) return 0;
  const auto* p = static_cast<const uint8_t*>(src);
  size_t left = n;
  while (left > 0) {
    size_t take = std::min(left, Worker::kBlock - block_.size());
    block_.append(p, take);
    p += take;
    left -= take;
    if (block_.size() == Worker::kBlock) {
      Flush(false);
      if (failed_) return 0;
    }
  }
  written_ += n;
  return n;
}

int64_t DeflateOutputStream::Tell() {
  return failed_ ? -1 : static_cast<int64_t>(written_);
}

bool DeflateOutputStream::Finish() {
  if (failed_) return false;
  if (finished_) return true;
  finished_ = true;
  Flush(true);
  if (failed_ || !worker_->Wait()) failed_ = true;
  return !failed_;
}

}  // namespace vemra
