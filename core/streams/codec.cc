#include "core/streams/codec.h"

#include <algorithm>
#include <climits>
#include <string>

#if KESTRUM_HAVE_ISAL
#include <isa-l.h>
#else
#include <zlib.h>
#endif

namespace vemra {
namespace {

// Both libraries count in 32 bits; a step never offers them more than this.
constexpr size_t kMaxStep = UINT32_MAX;

// What one library call may take and give: `b`'s counts, bounded to 32 bits.
struct Step {
  explicit Step(const CodecBuffers& b)
      : in(static_cast<uint32_t>(std::min(b.avail_in, kMaxStep))),
        out(static_cast<uint32_t>(std::min(b.avail_out, kMaxStep))) {}
  // Hands `b`'s buffers to the library's stream state `s` (both libraries name the fields alike).
  template <class S>
  void Offer(S& s, const CodecBuffers& b) const {
    s.next_in = const_cast<uint8_t*>(b.next_in);
    s.avail_in = in;
    s.next_out = b.next_out;
    s.avail_out = out;
  }
  // Moves `b` past what the call took and gave, as `s` tells; returns whether it took or gave
  // anything.
  template <class S>
  bool Advance(CodecBuffers& b, const S& s) const {
    const size_t used = in - s.avail_in, made = out - s.avail_out;
    b.next_in += used;
    b.avail_in -= used;
    b.next_out += made;
    b.avail_out -= made;
    return used != 0 || made != 0;
  }
  uint32_t in;
  uint32_t out;
};

}  // namespace

#if KESTRUM_HAVE_ISAL

#define KESTRUM_STR2(x) #x
#define KESTRUM_STR(x) KESTRUM_STR2(x)

const char* CodecName() {
  return "ISA-L " KESTRUM_STR(ISAL_MAJOR_VERSION) "." KESTRUM_STR(
      ISAL_MINOR_VERSION) "." KESTRUM_STR(ISAL_PATCH_VERSION);
}

// igzip reads the deflate data and checks the Adler-32 trailer; the two header bytes are
// checked here, as zlib checks them (method 8, window ≤ 32 KiB, check bits, no dictionary),
// because igzip accepts headers that zlib refuses.
// The library's states are large (tens of kilobytes of window and buffers) and set up by its own
// init calls, so they are made without zero-filling: a stream per small part stays cheap.
struct Inflater::State {
  inflate_state st;  // left uninitialised until isal_inflate_init
  uint8_t header[2] = {};
  size_t header_read = 0;
  int32_t result = kCodecMore;
};

Inflater::Inflater() : s_(new State) {
  isal_inflate_init(&s_->st);
  s_->st.crc_flag = ISAL_ZLIB_NO_HDR_VER;
}

Inflater::~Inflater() = default;

int32_t Inflater::Run(CodecBuffers& b) {
  State& s = *s_;
  if (s.result != kCodecMore) return s.result;
  while (s.header_read < 2 && b.avail_in > 0) {
    s.header[s.header_read++] = *b.next_in++;
    --b.avail_in;
    if (s.header_read == 2) {
      const unsigned cmf = s.header[0], flg = s.header[1];
      if ((cmf & 0x0F) != 8 || (cmf >> 4) > 7 || (cmf * 256 + flg) % 31 != 0 || (flg & 0x20)) {
        return s.result = kCodecDamaged;
      }
    }
  }
  if (s.header_read < 2) return kCodecMore;
  while (true) {
    const Step step(b);
    step.Offer(s.st, b);
    const int rc = isal_inflate(&s.st);
    const bool moved = step.Advance(b, s.st);
    if (rc < 0 || rc == ISAL_NEED_DICT) return s.result = kCodecDamaged;
    if (s.st.block_state == ISAL_BLOCK_FINISH) return s.result = kCodecEnd;
    // Go on while the library took or gave something and both sides still have room.
    if (!moved || b.avail_in == 0 || b.avail_out == 0) return kCodecMore;
  }
}

struct Deflater::State {
  isal_zstream zs;  // left uninitialised until isal_deflate_init
  std::unique_ptr<uint8_t[]> level_buf{new uint8_t[ISAL_DEF_LVL1_DEFAULT]};
};

Deflater::Deflater() : s_(new State) {
  isal_deflate_init(&s_->zs);
  s_->zs.gzip_flag = IGZIP_ZLIB;
  s_->zs.level = 1;
  s_->zs.level_buf = s_->level_buf.get();
  s_->zs.level_buf_size = ISAL_DEF_LVL1_DEFAULT;
}

Deflater::~Deflater() = default;

int32_t Deflater::Run(CodecBuffers& b, bool last) {
  isal_zstream& zs = s_->zs;
  while (true) {
    if (zs.internal_state.state == ZSTATE_END) return kCodecEnd;
    const Step step(b);
    step.Offer(zs, b);
    zs.end_of_stream = last && step.in == b.avail_in;
    zs.flush = NO_FLUSH;
    if (isal_deflate(&zs) != COMP_OK) return kCodecNoMemory;
    step.Advance(b, zs);
    if (zs.internal_state.state == ZSTATE_END) return kCodecEnd;
    if (b.avail_out == 0 || (!last && b.avail_in == 0)) return kCodecMore;
  }
}

#else  // zlib

namespace {
// Any zlib 1.x accepts this version string.
constexpr const char* kZlibVersion = "1.2.11";
}  // namespace

const char* CodecName() {
  static const std::string name = std::string("zlib ") + zlibVersion();
  return name.c_str();
}

struct Inflater::State {
  z_stream zs{};
  int32_t result = kCodecMore;
};

Inflater::Inflater() : s_(std::make_unique<State>()) {
  if (inflateInit_(&s_->zs, kZlibVersion, static_cast<int>(sizeof(z_stream))) != Z_OK) {
    s_->result = kCodecNoMemory;
  }
}

Inflater::~Inflater() {
  if (s_->result != kCodecNoMemory) inflateEnd(&s_->zs);
}

int32_t Inflater::Run(CodecBuffers& b) {
  State& s = *s_;
  if (s.result != kCodecMore) return s.result;
  while (true) {
    const Step step(b);
    step.Offer(s.zs, b);
    const int rc = inflate(&s.zs, Z_NO_FLUSH);
    const bool moved = step.Advance(b, s.zs);
    if (rc == Z_STREAM_END) return s.result = kCodecEnd;
    if (rc == Z_MEM_ERROR) return s.result = kCodecNoMemory;
    if (rc != Z_OK && rc != Z_BUF_ERROR) return s.result = kCodecDamaged;
    if (!moved || b.avail_in == 0 || b.avail_out == 0) return kCodecMore;
  }
}

struct Deflater::State {
  z_stream zs{};
  bool ready = false;
  bool ended = false;
};

Deflater::Deflater() : s_(std::make_unique<State>()) {
  s_->ready = deflateInit_(&s_->zs, 1, kZlibVersion, static_cast<int>(sizeof(z_stream))) == Z_OK;
}

Deflater::~Deflater() {
  if (s_->ready) deflateEnd(&s_->zs);
}

int32_t Deflater::Run(CodecBuffers& b, bool last) {
  State& s = *s_;
  if (!s.ready) return kCodecNoMemory;
  while (true) {
    if (s.ended) return kCodecEnd;
    const Step step(b);
    step.Offer(s.zs, b);
    const int rc = deflate(&s.zs, last && step.in == b.avail_in ? Z_FINISH : Z_NO_FLUSH);
    step.Advance(b, s.zs);
    if (rc == Z_STREAM_ERROR) return kCodecNoMemory;
    if (rc == Z_STREAM_END) s.ended = true;
    if (s.ended) return kCodecEnd;
    if (b.avail_out == 0 || (!last && b.avail_in == 0)) return kCodecMore;
  }
}

#endif

}  // namespace vemra
