// Cryptography and bit permutation: AESE, AESD, AESMC, AESIMC and SM4E,
// SM4EKEY work on each 128-bit segment as one block; RAX1 is the rotate and
// exclusive OR of SHA-3; BEXT, BDEP and BGRP gather, scatter and group the
// bits of each element by a mask.
#include <array>

#include "../decode/direct.h"
#include "../decode/families.h"
#include "../support/host_kernels.h"
#include "kernel_loop.h"

namespace sve {

namespace {

// Multiplication in GF(2^8) modulo the polynomial `poly` (with its x^8 bit).
constexpr uint8_t gf_mul(uint8_t a, uint8_t b, unsigned poly) {
  unsigned x = a, r = 0;
  for (; b; b >>= 1, x <<= 1) {
    if (x & 0x100) x ^= poly;
    if (b & 1) r ^= x;
  }
  return uint8_t(r);
}

// The multiplicative inverse x^254, and 0 for 0.
constexpr uint8_t gf_inverse(uint8_t x, unsigned poly) {
  uint8_t r = 1, p = x;
  for (unsigned e = 254; e; e >>= 1, p = gf_mul(p, p, poly))
    if (e & 1) r = gf_mul(r, p, poly);
  return r;
}

constexpr uint8_t rotl8(uint8_t x, unsigned n) { return uint8_t(x << n | x >> ((8 - n) & 7)); }

// The AES S-box: the inverse modulo x^8+x^4+x^3+x+1, then the affine map
// b ^ b<<<1 ^ b<<<2 ^ b<<<3 ^ b<<<4 ^ 0x63; and the table that undoes it.
constexpr std::array<uint8_t, 256> aes_sbox = [] {
  std::array<uint8_t, 256> t{};
  for (unsigned x = 0; x < 256; ++x) {
    uint8_t b = gf_inverse(uint8_t(x), 0x11b);
    t[x] = uint8_t(b ^ rotl8(b, 1) ^ rotl8(b, 2) ^ rotl8(b, 3) ^ rotl8(b, 4) ^ 0x63);
  }
  return t;
}();
constexpr std::array<uint8_t, 256> aes_inverse_sbox = [] {
  std::array<uint8_t, 256> t{};
  for (unsigned x = 0; x < 256; ++x) t[aes_sbox[x]] = uint8_t(x);
  return t;
}();

// The SM4 S-box: the affine map A x + 0xd3, where bit i of A x is the parity
// of x under 0xa7 rotated left by i, then the inverse modulo
// x^8+x^7+x^6+x^5+x^4+x^2+1, then the same affine map again.
constexpr uint8_t sm4_affine(uint8_t x) {
  uint8_t y = 0;
  for (unsigned i = 0; i < 8; ++i) y |= uint8_t((__builtin_popcount(rotl8(0xa7, i) & x) & 1) << i);
  return uint8_t(y ^ 0xd3);
}
constexpr std::array<uint8_t, 256> sm4_sbox = [] {
  std::array<uint8_t, 256> t{};
  for (unsigned x = 0; x < 256; ++x) t[x] = sm4_affine(gf_inverse(sm4_affine(uint8_t(x)), 0x1f5));
  return t;
}();
static_assert(sm4_sbox[0] == 0xd6 && sm4_sbox[255] == 0x48 && aes_sbox[0] == 0x63 && aes_sbox[255] == 0x16);

// Byte r + 4c of a block is row r of column c. ShiftRows rotates row r left
// by r columns, InvShiftRows right: the byte of the block that each byte
// takes. Each S-box goes with its own shift.
template <bool Inverse>
constexpr std::array<uint8_t, 16> shifted_from = [] {
  std::array<uint8_t, 16> t{};
  for (unsigned r = 0; r < 4; ++r)
    for (unsigned c = 0; c < 4; ++c) t[r + 4 * c] = uint8_t(r + 4 * (Inverse ? (c + 4 - r) % 4 : (c + r) % 4));
  return t;
}();

// AESE and AESD: the key added to every block, then the bytes substituted
// and moved by the shift, one table look-up each.
template <bool Inverse>
void sub_shift(uint8_t* d, const uint8_t* k) {
  const auto& box = Inverse ? aes_inverse_sbox : aes_sbox;
  const auto& from = shifted_from<Inverse>;
  alignas(16) uint8_t x[sve_vl_bytes];
  for (unsigned i = 0; i < sve_vl_bytes; ++i) x[i] = d[i] ^ k[i];
  for (unsigned i = 0; i < sve_vl_bytes; i += 16)
    for (unsigned j = 0; j < 16; ++j) d[i + j] = box[x[i + from[j]]];
}

// MixColumns on the columns as little-endian words, four bytes at once:
// with a_r row r, the column's row r is 2 a_r ^ 3 a_r+1 ^ a_r+2 ^ a_r+3 =
// 2 (a_r ^ a_r+1) ^ a_r+1 ^ a_r+2 ^ a_r+3, where a rotation right by 8 bits
// brings row r + 1 to row r, and doubling in GF(2^8) is a shift with the
// polynomial added where the top bit fell out. InvMixColumns (14 11 13 9)
// is MixColumns after the matrix (5 0 4 0): a_r ^= 4 (a_r ^ a_r+2).
constexpr uint32_t rotr32(uint32_t x, unsigned n) { return x >> n | x << (32 - n); }
constexpr uint32_t double_bytes(uint32_t x) { return (x & 0x7f7f7f7f) << 1 ^ (x >> 7 & 0x01010101) * 0x1b; }

template <bool Inverse>
void mix_columns(uint8_t* d) {
  for (unsigned i = 0; i < sve_vl_bytes; i += 4) {
    uint32_t w = load<uint32_t>(d + i);
    if (Inverse) w ^= double_bytes(double_bytes(w ^ rotr32(w, 16)));
    const uint32_t next = rotr32(w, 8);
    store<uint32_t>(d + i, double_bytes(w ^ next) ^ next ^ rotr32(w, 16) ^ rotr32(w, 24));
  }
}

using block = std::array<uint8_t, 16>;

// Zd = f(segment of each source) for every 128-bit segment.
template <class F, class... Src>
aarch64_decode_rc by_segment(uint8_t* zd, F f, const Src*... src) {
  alignas(16) uint8_t tmp[sve_vl_bytes];
  for (unsigned i = 0; i < sve_vl_bytes; i += 16) {
    block out = f(load<block>(src + i)...);
    std::memcpy(tmp + i, out.data(), 16);
  }
  std::memcpy(zd, tmp, sve_vl_bytes);
  return aarch64_decode_ok;
}

constexpr uint32_t rotl32(uint32_t x, unsigned n) { return x << n | x >> (32 - n); }

// Four SM4 rounds on a block of four words, words 0 to 3 oldest first: each
// round makes a new word from the three newest and a round value k, as
// oldest ^ L(S(w1 ^ w2 ^ w3 ^ k)), with S the S-box on each byte and L the
// linear map of encryption or of the key schedule.
template <bool KeySchedule>
block sm4_rounds(const block& in, const block& k) {
  uint32_t w[4], key[4];
  std::memcpy(w, in.data(), 16);
  std::memcpy(key, k.data(), 16);
  for (unsigned round = 0; round < 4; ++round) {
    uint32_t t = w[1] ^ w[2] ^ w[3] ^ key[round], b = 0;
    for (unsigned j = 0; j < 32; j += 8) b |= uint32_t(sm4_sbox[t >> j & 0xff]) << j;
    const uint32_t l = KeySchedule ? b ^ rotl32(b, 13) ^ rotl32(b, 23)
                                   : b ^ rotl32(b, 2) ^ rotl32(b, 10) ^ rotl32(b, 18) ^ rotl32(b, 24);
    const uint32_t next = w[0] ^ l;
    w[0] = w[1], w[1] = w[2], w[2] = w[3], w[3] = next;
  }
  block out;
  std::memcpy(out.data(), w, 16);
  return out;
}

// The bits of x at the ones of mask, packed from bit 0 up; and the low bits
// of x spread to the ones of mask.
constexpr uint64_t gather_bits(uint64_t x, uint64_t mask) {
  uint64_t r = 0;
  for (unsigned d = 0; mask; mask &= mask - 1, ++d) r |= uint64_t((x & mask & -mask) != 0) << d;
  return r;
}
constexpr uint64_t scatter_bits(uint64_t x, uint64_t mask) {
  uint64_t r = 0;
  for (; mask; mask &= mask - 1, x >>= 1) r |= (x & 1) ? mask & -mask : 0;
  return r;
}

template <class Op>
aarch64_decode_rc bits_by_mask(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm,
                               host::bit_move move, Op op) {
  return by_size(zd.elem, [&]<class T>(T) {
    const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
    if (host::move_bits(move, sizeof(T), s->z[zd.reg], a, b)) return aarch64_decode_ok;
    return all_loop<T>(s->z[zd.reg], [&](unsigned i) {
      return T(op(uint64_t(load<T>(a + i)), uint64_t(load<T>(b + i)), unsigned(sizeof(T) * 8)));
    });
  });
}

}  // namespace

aarch64_decode_rc sve_aese_zz(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t* k = s->z[zm.reg];
  if (!host::aes_blocks(host::aes_step::encrypt, d, k)) sub_shift<false>(d, k);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_aesd_zz(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm) {
  uint8_t* d = s->z[zdn.reg];
  const uint8_t* k = s->z[zm.reg];
  if (!host::aes_blocks(host::aes_step::decrypt, d, k)) sub_shift<true>(d, k);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_aesmc_z(cpu_state* s, aarch64_z_reg zdn) {
  if (!host::aes_blocks(host::aes_step::mix, s->z[zdn.reg], nullptr)) mix_columns<false>(s->z[zdn.reg]);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_aesimc_z(cpu_state* s, aarch64_z_reg zdn) {
  if (!host::aes_blocks(host::aes_step::inverse_mix, s->z[zdn.reg], nullptr)) mix_columns<true>(s->z[zdn.reg]);
  return aarch64_decode_ok;
}
aarch64_decode_rc sve_sm4e_zz(cpu_state* s, aarch64_z_reg zdn, aarch64_z_reg zm) {
  return by_segment(s->z[zdn.reg], sm4_rounds<false>, s->z[zdn.reg], s->z[zm.reg]);
}
aarch64_decode_rc sve_sm4ekey_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return by_segment(s->z[zd.reg], sm4_rounds<true>, s->z[zn.reg], s->z[zm.reg]);
}

aarch64_decode_rc sve_rax1_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  const uint8_t *a = s->z[zn.reg], *b = s->z[zm.reg];
  return all_loop<uint64_t>(s->z[zd.reg], [&](unsigned i) {
    const uint64_t m = load<uint64_t>(b + i);
    return load<uint64_t>(a + i) ^ (m << 1 | m >> 63);
  });
}

// BGRP puts the bits at the ones of the mask below those at its zeros, each
// group in its order.
aarch64_decode_rc sve_bext_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return bits_by_mask(s, zd, zn, zm, host::bit_move::gather,
                      [](uint64_t x, uint64_t m, unsigned) { return gather_bits(x, m); });
}
aarch64_decode_rc sve_bdep_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return bits_by_mask(s, zd, zn, zm, host::bit_move::scatter,
                      [](uint64_t x, uint64_t m, unsigned) { return scatter_bits(x, m); });
}
aarch64_decode_rc sve_bgrp_zzz(cpu_state* s, aarch64_z_reg zd, aarch64_z_reg zn, aarch64_z_reg zm) {
  return bits_by_mask(s, zd, zn, zm, host::bit_move::group, [](uint64_t x, uint64_t m, unsigned n) {
    const uint64_t zeros = ~m & (~uint64_t(0) >> (64 - n));
    const unsigned low = unsigned(__builtin_popcountll(m));
    return gather_bits(x, m) | (low == 64 ? 0 : gather_bits(x, zeros) << low);
  });
}

// Zdn 4:0 and Zm 9:5, or Zdn alone.
template <auto Kernel>
struct vv_block : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return vv_block::call(s, w, z_dst_src(w, 4, 0, T::code), z_plain(w, 9, 5, T::code));
  }
};
template <auto Kernel>
struct v_block : direct_base<Kernel> {
  template <class T>
  static aarch64_decode_rc run(cpu_state* s, uint32_t w) {
    return v_block::call(s, w, z_dst_src(w, 4, 0, T::code));
  }
};

}  // namespace sve

using namespace sve;

// "01000101 00 10001 0 11100 o mmmmm ddddd", and without Zm
// "01000101 00 10000 0 11100 o 00000 ddddd".
#define SVE_AES(op, kernel, mnemonic) \
  "01000101 00 10001 0 11100 " op " mmmmm ddddd", direct, (vv_block<kernel>), mnemonic " z0.b, z0.b, z1.b"
#define SVE_AESMC(op, kernel, mnemonic) \
  "01000101 00 10000 0 11100 " op " 00000 ddddd", direct, (v_block<kernel>), mnemonic " z0.b, z0.b"
// "01000101 00 1 mmmmm 11110 o nnnnn ddddd".
#define SVE_CRYPTO3(op, kernel, mnemonic, T) \
  "01000101 00 1 mmmmm 11110 " op " nnnnn ddddd", direct, (vvx<kernel>), mnemonic " z0." T ", z1." T ", z2." T
// "01000101 ss 0 mmmmm 1011 opc nnnnn ddddd".
#define SVE_BITPERM(opc, kernel, mnemonic) \
  "01000101 ss 0 mmmmm 1011 " opc " nnnnn ddddd", direct, (vvx<kernel>), mnemonic " z0.T, z1.T, z2.T"

#define INTEGER_CRYPTO(X)                                                                         \
  X(sve2_31_10, AesEncVVX, U8, SVE_AES("0", sve_aese_zz, "aese"))                                 \
  X(sve2_31_10, AesDecVVX, U8, SVE_AES("1", sve_aesd_zz, "aesd"))                                 \
  X(sve2_31_5, AesMixVX, U8, SVE_AESMC("0", sve_aesmc_z, "aesmc"))                                \
  X(sve2_31_5, AesInvMixVX, U8, SVE_AESMC("1", sve_aesimc_z, "aesimc"))                           \
  X(sve2_31_10, Sm4EncVVX, U32, "01000101 00 10001 1 11100 0 mmmmm ddddd", direct,                \
    (vv_block<sve_sm4e_zz>), "sm4e z0.s, z0.s, z1.s")                                             \
  X(sve2_31_21__15_10, Sm4KeyVVX, U32, SVE_CRYPTO3("0", sve_sm4ekey_zzz, "sm4ekey", "s"))         \
  X(sve2_31_21__15_10, Rax1VVX, U64, SVE_CRYPTO3("1", sve_rax1_zzz, "rax1", "d"))                 \
  SVE_U4(X, sve2_31_21__15_10, BitExtVVX, SVE_BITPERM("00", sve_bext_zzz, "bext"))                \
  SVE_U4(X, sve2_31_21__15_10, BitDepVVX, SVE_BITPERM("01", sve_bdep_zzz, "bdep"))                \
  SVE_U4(X, sve2_31_21__15_10, BitGrpVVX, SVE_BITPERM("10", sve_bgrp_zzz, "bgrp"))

SVE_FAMILY(integer_crypto, INTEGER_CRYPTO)
