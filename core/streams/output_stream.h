// OutputStream writes either to a file or to an in-memory buffer that an InputStream can take
// over. One thread at a time.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "core/streams/memory_buffer.h"
#include "core/streams/stream.h"

namespace vemra {

class OutputStream : public IOutputStream {
 public:
  // Starts in memory mode with an empty buffer.
  OutputStream();
  // Flushes and closes an open file.
  ~OutputStream() override;
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  // Opens `path` for binary writing, truncating it; returns true when it opened, and from then
  // on writes go to the file. On failure the stream stays in memory mode.
  // With `exclusive`, fails (EEXIST) when `path` exists instead of truncating it.
  bool OpenFile(const std::string& path, bool exclusive = false);
  // Closes an open file and starts again on a fresh, empty in-memory buffer.
  void OpenMemory();
  // Flushes the file's buffers and asks the system to put the data on disk (fsync); returns
  // false when either step failed. True in memory mode.
  bool Sync();
  // Flushes and closes the file; returns false when a write, the flush or the close failed, so
  // that a caller can tell a complete file from a damaged one. The stream is then in memory
  // mode with an empty buffer.
  bool Close();

  size_t Write(const void* src, size_t n) override;
  int64_t Tell() override;
  bool Seek(int64_t offset) override;

  // The bytes written in memory mode.
  const std::vector<uint8_t>& MemoryData() const { return buffer_->Data(); }

 private:
  friend class InputStream;

  std::FILE* file_ = nullptr;
  bool write_failed_ = false;
  std::unique_ptr<MemoryBuffer> buffer_;
};

}  // namespace vemra
