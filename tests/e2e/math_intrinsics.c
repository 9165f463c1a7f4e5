// Vectorised single-precision exp, sin, cos, reciprocal and reciprocal
// square root written with the helper instructions that vector math
// libraries use: FEXPA and FSCALE for exp, FTSMUL, FTSSEL and FTMAD for sin
// and cos, and the estimates refined by their Newton-Raphson steps. The
// table comes from volatile memory so that the compiler cannot fold any
// operand. Prints every result in hexadecimal and the FPSR after each
// function.
#include <arm_sve.h>
#include <stdint.h>
#include <stdio.h>

#define N 61

static float xs[N], out_exp[N], out_sin[N], out_cos[N], out_recip[N], out_rsqrt[N];

static uint64_t read_fpsr(void) {
  uint64_t v;
  __asm__ volatile("mrs %0, fpsr" : "=r"(v));
  return v;
}
static void clear_fpsr(void) { __asm__ volatile("msr fpsr, xzr"); }

// exp(x) = 2^k * 2^(j/64) * exp(r): n = k * 64 + j is x * 64/ln2 rounded,
// found in the low bits of x * 64/ln2 + 1.5 * 2^23; FEXPA gives 2^(j/64)
// and FSCALE applies 2^k.
__attribute__((noinline)) void exp_f32(float* dst, const float* x, int n) {
  const float shift = 0x1.8p23f, inv_ln2_64 = 0x1.715476p6f;
  const float ln2_64_hi = 0x1.62e4p-7f, ln2_64_lo = 0x1.7f7d1cp-26f;
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32_s32(i, n);
    svfloat32_t vx = svld1_f32(pg, x + i);
    svfloat32_t z = svmla_n_f32_x(pg, svdup_n_f32(shift), vx, inv_ln2_64);
    svfloat32_t nf = svsub_n_f32_x(pg, z, shift);
    svfloat32_t r = svmls_n_f32_x(pg, vx, nf, ln2_64_hi);
    r = svmls_n_f32_x(pg, r, nf, ln2_64_lo);
    svint32_t bits = svsub_n_s32_x(pg, svreinterpret_s32_f32(z), 0x4b400000);
    svuint32_t index = svorr_n_u32_x(pg, svand_n_u32_x(pg, svreinterpret_u32_s32(bits), 63), 127 << 6);
    svint32_t k = svasr_n_s32_x(pg, bits, 6);
    svfloat32_t poly = svmla_n_f32_x(pg, svdup_n_f32(0.5f), r, 1.0f / 6);
    poly = svmad_f32_x(pg, poly, r, svdup_n_f32(1.0f));
    poly = svmad_f32_x(pg, poly, r, svdup_n_f32(1.0f));
    svfloat32_t y = svmul_f32_x(pg, svexpa_f32(index), poly);
    svst1_f32(pg, dst + i, svscale_f32_x(pg, y, k));
  }
}

// sin(x + quadrant * pi/2): q = x * 2/pi rounded, r = x - q * pi/2. FTSMUL
// gives r^2 with the sign that chooses the cosine series when q is odd,
// FTSSEL the factor r or 1.0 with the sign of the half turn, and FTMAD runs
// the series from its highest coefficient down.
__attribute__((noinline)) void sin_f32(float* dst, const float* x, int n, uint32_t quadrant) {
  const float shift = 0x1.8p23f, two_over_pi = 0x1.45f306p-1f;
  const float pi_2_hi = 0x1.921fb6p0f, pi_2_lo = -0x1.777a5cp-25f;
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32_s32(i, n);
    svfloat32_t vx = svld1_f32(pg, x + i);
    svfloat32_t z = svmla_n_f32_x(pg, svdup_n_f32(shift), vx, two_over_pi);
    svfloat32_t qf = svsub_n_f32_x(pg, z, shift);
    svfloat32_t r = svmls_n_f32_x(pg, vx, qf, pi_2_hi);
    r = svmls_n_f32_x(pg, r, qf, pi_2_lo);
    svuint32_t q = svadd_n_u32_x(pg, svreinterpret_u32_f32(z), quadrant);
    svfloat32_t r2 = svtsmul_f32(r, q);
    svfloat32_t factor = svtssel_f32(r, q);
    svfloat32_t acc = svdup_n_f32(0.0f);
    acc = svtmad_f32(acc, r2, 7);
    acc = svtmad_f32(acc, r2, 6);
    acc = svtmad_f32(acc, r2, 5);
    acc = svtmad_f32(acc, r2, 4);
    acc = svtmad_f32(acc, r2, 3);
    acc = svtmad_f32(acc, r2, 2);
    acc = svtmad_f32(acc, r2, 1);
    acc = svtmad_f32(acc, r2, 0);
    svst1_f32(pg, dst + i, svmul_f32_x(pg, acc, factor));
  }
}

// 1/x and 1/sqrt(x): the estimates and two steps each, e' = e * (2 - x * e)
// and e' = e * (3 - x * e * e) / 2.
__attribute__((noinline)) void recip_rsqrt_f32(float* recip, float* rsqrt, const float* x, int n) {
  for (int i = 0; i < n; i += (int)svcntw()) {
    svbool_t pg = svwhilelt_b32_s32(i, n);
    svfloat32_t vx = svld1_f32(pg, x + i);
    svfloat32_t e = svrecpe_f32(vx), s = svrsqrte_f32(vx);
    for (int step = 0; step < 2; ++step) {
      e = svmul_f32_x(pg, e, svrecps_f32(vx, e));
      s = svmul_f32_x(pg, s, svrsqrts_f32(svmul_f32_x(pg, vx, s), s));
    }
    svst1_f32(pg, recip + i, e);
    svst1_f32(pg, rsqrt + i, s);
  }
}

int main(void) {
  // Ordinary values from -12 to 12, then the edges: zeros, infinities, a
  // NaN, denormals, and values where exp overflows or underflows.
  static volatile float edges[] = {0.0f,    -0.0f,    __builtin_inff(), -__builtin_inff(), __builtin_nanf(""),
                                   1e-40f,  -1e-45f,  88.7f,            89.0f,             -87.0f,
                                   -103.5f, 3.4e38f,  -200.0f};
  const int n_edges = (int)(sizeof edges / sizeof edges[0]);
  volatile float step = 0.5f;
  for (int i = 0; i < N - n_edges; ++i) xs[i] = ((float)i - 24.0f) * step + 0.0625f * (float)(i % 5);
  for (int i = 0; i < n_edges; ++i) xs[N - n_edges + i] = edges[i];

  uint64_t status[4];
  clear_fpsr();
  exp_f32(out_exp, xs, N);
  status[0] = read_fpsr();
  clear_fpsr();
  sin_f32(out_sin, xs, N, 0);
  status[1] = read_fpsr();
  clear_fpsr();
  sin_f32(out_cos, xs, N, 1);
  status[2] = read_fpsr();
  clear_fpsr();
  recip_rsqrt_f32(out_recip, out_rsqrt, xs, N);
  status[3] = read_fpsr();

  for (int i = 0; i < N; ++i)
    printf("%2d x=%a exp=%a sin=%a cos=%a recip=%a rsqrt=%a\n", i, (double)xs[i], (double)out_exp[i],
           (double)out_sin[i], (double)out_cos[i], (double)out_recip[i], (double)out_rsqrt[i]);
  const char* names[4] = {"exp", "sin", "cos", "recip and rsqrt"};
  for (int f = 0; f < 4; ++f) printf("fpsr %s %#llx\n", names[f], (unsigned long long)status[f]);
  // A line a reader can check by eye.
  printf("x=%.4f exp=%.6f sin=%.6f cos=%.6f recip=%.6f rsqrt=%.6f\n", (double)xs[26], (double)out_exp[26],
         (double)out_sin[26], (double)out_cos[26], (double)out_recip[26], (double)out_rsqrt[26]);
  return 0;
}
