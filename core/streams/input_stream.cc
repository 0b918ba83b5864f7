#include "core/streams/input_stream.h"

#include "core/streams/output_stream.h"

namespace vemra {

InputStream::InputStream() : buffer_(std::make_unique<MemoryBuffer>()) {}

InputStream::~InputStream() {
  CloseFile();
}

void InputStream::CloseFile() {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
}

bool InputStream::OpenFile(const std::string& path) {
  CloseFile();
  memory_ = false;
  file_ = std::fopen(path.c_str(), "rb");
  return file_ != nullptr;
}

void InputStream::AttachMemory(OutputStream& out) {
  CloseFile();
  buffer_.swap(out.buffer_);
  buffer_->Rewind();
  memory_ = true;
}

size_t InputStream::Read(void* dst, size_t n) {
  if (memory_) return buffer_->Read(dst, n);
  if (file_ == nullptr || n == 0) return 0;
  return std::fread(dst, 1, n, file_);
}

int64_t InputStream::Tell() {
  if (memory_) return buffer_->ReadPosition();
  if (file_ == nullptr) return -1;
  return static_cast<int64_t>(ftello(file_));
}

bool InputStream::Seek(int64_t offset) {
  if (memory_) return buffer_->SeekRead(offset);
  if (file_ == nullptr || offset < 0) return false;
  return fseeko(file_, static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool InputStream::Eof() {
  if (memory_) return buffer_->AtEnd();
  return file_ == nullptr || std::feof(file_) != 0;
}

}  // namespace vemra
