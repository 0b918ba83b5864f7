#include "core/streams/zlib_streams.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace vemra {
namespace {

constexpr size_t kInChunk = 1 << 16;
constexpr size_t kOutChunk = 1 << 18;
// Any zlib 1.x accepts this version string.
constexpr const char* kZlibVersion = "1.2.11";

}  // namespace

struct InflateInputStream::State {
  z_stream zs{};
  bool ready = false;
};

InflateInputStream::InflateInputStream(IInputStream& source)
    : source_(source), z_(std::make_unique<State>()), in_(kInChunk) {
  z_->ready = inflateInit_(&z_->zs, kZlibVersion, static_cast<int>(sizeof(z_stream))) == Z_OK;
  if (!z_->ready) status_ = Z_MEM_ERROR;
}

InflateInputStream::~InflateInputStream() {
  if (z_->ready) inflateEnd(&z_->zs);
}

bool InflateInputStream::Fill() {
  if (status_ != 1) return false;
  // Drop what lies well behind the read position; keep kKeepBehind for steps back.
  uint64_t keep_from = pos_ > kKeepBehind ? pos_ - kKeepBehind : 0;
  if (keep_from > base_ && keep_from - base_ >= kOutChunk) {
    size_t drop = static_cast<size_t>(std::min<uint64_t>(keep_from - base_, window_.size()));
    window_.erase(window_.begin(), window_.begin() + static_cast<std::ptrdiff_t>(drop));
    base_ += drop;
  }
  z_stream& zs = z_->zs;
  size_t old_size = window_.size();
  window_.resize(old_size + kOutChunk);
  zs.next_out = window_.data() + old_size;
  zs.avail_out = static_cast<uInt>(kOutChunk);
  while (zs.avail_out > 0) {
    if (zs.avail_in == 0) {
      size_t got = source_.Read(in_.data(), in_.size());
      if (got == 0) {
        status_ = Z_DATA_ERROR;  // the compressed data ended before its end marker
        break;
      }
      zs.next_in = in_.data();
      zs.avail_in = static_cast<uInt>(got);
    }
    int rc = inflate(&zs, Z_NO_FLUSH);
    if (rc == Z_STREAM_END) {
      status_ = 0;
      break;
    }
    if (rc == Z_NEED_DICT) rc = Z_DATA_ERROR;
    if (rc != Z_OK && rc != Z_BUF_ERROR) {
      status_ = rc;
      break;
    }
  }
  size_t produced = kOutChunk - zs.avail_out;
  window_.resize(old_size + produced);
  return produced > 0;
}

size_t InflateInputStream::Read(void* dst, size_t n) {
  auto* out = static_cast<uint8_t*>(dst);
  size_t done = 0;
  while (done < n) {
    uint64_t end = base_ + window_.size();
    if (pos_ < end) {
      size_t take = static_cast<size_t>(std::min<uint64_t>(end - pos_, n - done));
      std::memcpy(out + done, window_.data() + (pos_ - base_), take);
      pos_ += take;
      done += take;
    } else if (!Fill()) {
      eof_ = true;
      break;
    }
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
  while (status_ == 1) {
    pos_ = base_ + window_.size();
    Fill();
  }
  return status_;
}

struct DeflateOutputStream::State {
  z_stream zs{};
  bool ready = false;
};

DeflateOutputStream::DeflateOutputStream(IOutputStream& sink)
    : sink_(sink), z_(std::make_unique<State>()), out_(kOutChunk) {
  in_.reserve(kOutChunk);
  z_->ready = deflateInit_(&z_->zs, 1, kZlibVersion, static_cast<int>(sizeof(z_stream))) == Z_OK;
  failed_ = !z_->ready;
}

DeflateOutputStream::~DeflateOutputStream() {
  if (z_->ready) deflateEnd(&z_->zs);
}

bool DeflateOutputStream::Deflate(bool finish) {
  z_stream& zs = z_->zs;
  zs.next_in = in_.data();
  zs.avail_in = static_cast<uInt>(in_.size());
  int rc;
  do {
    zs.next_out = out_.data();
    zs.avail_out = static_cast<uInt>(out_.size());
    rc = deflate(&zs, finish ? Z_FINISH : Z_NO_FLUSH);
    if (rc == Z_STREAM_ERROR) return false;
    size_t have = out_.size() - zs.avail_out;
    if (have > 0 && sink_.Write(out_.data(), have) != have) return false;
  } while (zs.avail_out == 0 || (finish && rc != Z_STREAM_END));
  in_.clear();
  return true;
}

size_t DeflateOutputStream::Write(const void* src, size_t n) {
  if (failed_ || finished_) return 0;
  const auto* p = static_cast<const uint8_t*>(src);
  size_t left = n;
  while (left > 0) {
    size_t take = std::min(left, in_.capacity() - in_.size());
    in_.insert(in_.end(), p, p + take);
    p += take;
    left -= take;
    if (in_.size() == in_.capacity() && !Deflate(false)) {
      failed_ = true;
      return 0;
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
  if (!Deflate(true)) failed_ = true;
  return !failed_;
}

}  // namespace vemra
