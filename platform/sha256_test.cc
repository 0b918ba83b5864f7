#include "platform/sha256.h"

#include <gtest/gtest.h>

namespace vemra::platform {
namespace {

TEST(Sha256Test, PublishedVectorsWholeAndInPieces) {
  const struct {
    std::string data;
    const char* digest;
  } vectors[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1000000, 'a'),
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  for (const auto& v : vectors) {
    EXPECT_EQ(Sha256::Hex(v.data), v.digest) << v.data.size();
    // Fed in uneven pieces, across block boundaries.
    Sha256 h;
    for (size_t i = 0, step = 1; i < v.data.size(); i += step, step = step % 97 + 13) {
      h.Update(v.data.data() + i, std::min(step, v.data.size() - i));
    }
    EXPECT_EQ(Sha256::ToHex(h.Finish()), v.digest) << v.data.size();
  }
}

}  // namespace
}  // namespace vemra::platform
