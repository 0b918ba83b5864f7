// InputStream reads either a file or an in-memory buffer taken over from an OutputStream.
// One thread at a time.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "core/streams/memory_buffer.h"
#include "core/streams/stream.h"

namespace vemra {

class OutputStream;

class InputStream : public IInputStream {
 public:
  InputStream();
  ~InputStream() override;
  InputStream(const InputStream&) = delete;
  InputStream& operator=(const InputStream&) = delete;

  // Leaves memory mode and opens `path` for binary reading; returns true when it opened.
  // On failure the stream has no file and reads nothing.
  bool OpenFile(const std::string& path);
  // Takes over the buffer `out` wrote into (`out` is left with this stream's previous buffer),
  // puts both positions at 0 and switches to memory mode: the bytes `out` wrote can now be read
  // from offset 0 without being copied. Closes an open file.
  void AttachMemory(OutputStream& out);

  size_t Read(void* dst, size_t n) override;
  int64_t Tell() override;
  bool Seek(int64_t offset) override;
  bool Eof() override;

 private:
  void CloseFile();

  std::FILE* file_ = nullptr;
  bool memory_ = false;
  std::unique_ptr<MemoryBuffer> buffer_;
};

}  // namespace vemra
