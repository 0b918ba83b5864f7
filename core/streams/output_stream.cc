#include "core/streams/output_stream.h"

#include <unistd.h>

namespace vemra {

OutputStream::OutputStream() : buffer_(std::make_unique<MemoryBuffer>()) {}

OutputStream::~OutputStream() {
  Close();
}

bool OutputStream::OpenFile(const std::string& path, bool exclusive) {
  Close();
  file_ = std::fopen(path.c_str(), exclusive ? "wbx" : "wb");
  write_failed_ = false;
  return file_ != nullptr;
}

void OutputStream::OpenMemory() {
  Close();
  buffer_ = std::make_unique<MemoryBuffer>();
}

bool OutputStream::Sync() {
  if (file_ == nullptr) return true;
  if (std::fflush(file_) != 0) return false;
  return fsync(fileno(file_)) == 0;
}

bool OutputStream::Close() {
  if (file_ == nullptr) return true;
  bool ok = !write_failed_ && std::fflush(file_) == 0 && std::ferror(file_) == 0;
  if (std::fclose(file_) != 0) ok = false;
  file_ = nullptr;
  buffer_ = std::make_unique<MemoryBuffer>();
  return ok;
}

size_t OutputStream::Write(const void* src, size_t n) {
  if (file_ == nullptr) return buffer_->Write(src, n);
  if (n == 0) return 0;
  size_t written = std::fwrite(src, 1, n, file_);
  if (written != n) write_failed_ = true;
  return written;
}

int64_t OutputStream::Tell() {
  if (file_ == nullptr) return buffer_->WritePosition();
  if (write_failed_) return -1;
  return static_cast<int64_t>(ftello(file_));
}

bool OutputStream::Seek(int64_t offset) {
  if (file_ == nullptr) return buffer_->SeekWrite(offset);
  if (offset < 0) return false;
  return fseeko(file_, static_cast<off_t>(offset), SEEK_SET) == 0;
}

}  // namespace vemra
