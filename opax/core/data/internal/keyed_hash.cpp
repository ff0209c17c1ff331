#include <opax/core/data/internal/keyed_hash.h>

#include <cstring>
#include <random>

namespace Opax {
namespace Data {
namespace internal {
namespace {

struct Key {
  uint64_t k0, k1;
};

Key DrawKey() {
  std::random_device device;
  auto const word = [&device] { return (uint64_t{device()} << 32) | device(); };
  Key key{};
  key.k0 = word();
  key.k1 = word();
  return key;
}

inline uint64_t RotateLeft(uint64_t x, int bits) { return (x << bits) | (x >> (64 - bits)); }

inline uint64_t LittleEndian(unsigned char const* bytes) {
  uint64_t word = 0;
  for (int i = 7; i >= 0; --i) word = (word << 8) | bytes[i];
  return word;
}

struct State {
  uint64_t v0, v1, v2, v3;

  void Round() {
    v0 += v1;
    v1 = RotateLeft(v1, 13);
    v1 ^= v0;
    v0 = RotateLeft(v0, 32);
    v2 += v3;
    v3 = RotateLeft(v3, 16);
    v3 ^= v2;
    v0 += v3;
    v3 = RotateLeft(v3, 21);
    v3 ^= v0;
    v2 += v1;
    v1 = RotateLeft(v1, 17);
    v1 ^= v2;
    v2 = RotateLeft(v2, 32);
  }
  void Absorb(uint64_t word) {
    v3 ^= word;
    Round();
    v0 ^= word;
  }
};

}  // namespace

uint64_t KeyedHash(std::string_view text) {
  static Key const key = DrawKey();
  State state{0x736f6d6570736575ULL ^ key.k0, 0x646f72616e646f6dULL ^ key.k1, 0x6c7967656e657261ULL ^ key.k0,
              0x7465646279746573ULL ^ key.k1};
  auto const* bytes = reinterpret_cast<unsigned char const*>(text.data());
  std::size_t const whole = text.size() / 8 * 8;
  for (std::size_t at = 0; at < whole; at += 8) state.Absorb(LittleEndian(bytes + at));
  unsigned char last[8] = {};
  if (text.size() > whole) std::memcpy(last, bytes + whole, text.size() - whole);
  last[7] = static_cast<unsigned char>(text.size());
  state.Absorb(LittleEndian(last));
  state.v2 ^= 0xff;
  state.Round();
  state.Round();
  state.Round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

}  // namespace internal
}  // namespace Data
}  // namespace Opax
