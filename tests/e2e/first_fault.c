// First-fault and non-fault loads reading up to the end of mapped memory:
// every buffer here ends exactly where an unmapped page begins, and the
// loops read whole vectors past their data, narrowing with ffr where memory
// ends. Contiguous scans of bytes and of sign-extended bytes, a first-fault
// gather that follows indices to a sentinel, a non-fault sum, and eight
// threads that start together and run all of these on their own buffers at
// once, so that faults of protected reads arrive on several threads at the
// same time. Only results that any SVE implementation gives are printed:
// how far ffr reaches may differ.
#include <arm_sve.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#define THREADS 8
#define ROUNDS 150

static size_t page;

// A readable page with an unmapped one behind it; returns its end.
static uint8_t* page_end(void) {
  uint8_t* p = mmap(0, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED || mprotect(p + page, page, PROT_NONE) != 0) return 0;
  return p + page;
}

// strlen: bytes up to the first 0, reading whole vectors.
__attribute__((noinline)) size_t ff_strlen(const uint8_t* s) {
  svbool_t all = svptrue_b8();
  for (size_t i = 0;;) {
    svsetffr();
    svuint8_t v = svldff1_u8(all, s + i);
    svbool_t ok = svrdffr();
    svbool_t zero = svcmpeq_n_u8(ok, v, 0);
    if (svptest_any(ok, zero)) return i + svcntp_b8(ok, svbrkb_b_z(ok, zero));
    i += svcntp_b8(all, ok);
  }
}

// The sum of signed bytes up to the first 0, four bytes to a word.
__attribute__((noinline)) int64_t ff_signed_sum(const int8_t* s) {
  svbool_t all = svptrue_b32();
  int64_t sum = 0;
  for (size_t i = 0;;) {
    svsetffr();
    svint32_t v = svldff1sb_s32(all, s + i);
    svbool_t ok = svrdffr_z(all);
    svbool_t zero = svcmpeq_n_s32(ok, v, 0);
    svbool_t before = svbrkb_b_z(ok, zero);
    sum += svaddv_s32(before, v);
    if (svptest_any(ok, zero)) return sum;
    i += svcntp_b32(all, ok);
  }
}

// Follows table[idx[k]] for k = 0, 1, ... to the first 0 and sums what it
// passes; the indices run on past the table's end into the unmapped page.
__attribute__((noinline)) int64_t ff_gather_sum(const int16_t* table, const int32_t* idx) {
  int64_t sum = 0;
  for (int32_t k = 0;;) {
    svbool_t pg = svptrue_b32();
    svsetffr();
    svint32_t v = svldff1sh_gather_s32index_s32(pg, table, svld1_s32(pg, idx + k));
    svbool_t ok = svrdffr_z(pg);
    svbool_t zero = svcmpeq_n_s32(ok, v, 0);
    sum += svaddv_s32(svbrkb_b_z(ok, zero), v);
    if (svptest_any(ok, zero)) return sum;
    k += (int32_t)svcntp_b32(pg, ok);
  }
}

// The sum of the n bytes before the page's end with non-fault loads of
// whole vectors, which run past it; where a load reads nothing, one byte is
// added on its own.
__attribute__((noinline)) uint64_t nf_sum(const uint8_t* s, size_t n) {
  svbool_t all = svptrue_b8();
  uint64_t sum = 0;
  for (size_t i = 0; i < n;) {
    svsetffr();
    svuint8_t v = svldnf1_u8(all, s + i);
    svbool_t ok = svrdffr();
    svbool_t take = svand_b_z(all, svbrkb_b_z(all, svnot_b_z(all, ok)), svwhilelt_b8_u64(i, n));
    uint64_t got = svcntp_b8(all, take);
    if (got == 0) {
      sum += s[i++];
      continue;
    }
    sum += svaddv_u8(take, v);
    i += got;
  }
  return sum;
}

struct job {
  int id;
  uint8_t *end, *gather_end;
  int wrong;
  uint64_t checksum;
};

static pthread_barrier_t start;

// The table of ff_gather_sum at the page's end: halfwords, the last one 0.
static int16_t* gather_table(uint8_t* end, int n) {
  int16_t* table = (int16_t*)end - n;
  for (int i = 0; i < n; ++i) table[i] = (int16_t)(i % 50 - 20 + (i % 50 >= 20));
  table[n - 1] = 0;
  return table;
}

static int32_t gather_idx[THREADS][1024];

static void* scan_job(void* arg) {
  struct job* j = arg;
  int16_t* table = gather_table(j->gather_end, 300);
  for (size_t i = 1; i <= 1024; ++i) j->end[-(long)i] = (uint8_t)(i % 251 + 1);
  j->end[-1] = 0;
  pthread_barrier_wait(&start);
  for (int r = 0; r < ROUNDS; ++r) {
    size_t len = (size_t)(r * 37 + j->id * 101) % 1000;
    size_t got = ff_strlen(j->end - 1 - len);
    j->wrong += got != len;
    j->checksum = j->checksum * 31 + got;
    j->checksum = j->checksum * 31 + (uint64_t)ff_signed_sum((const int8_t*)j->end - 1 - len / 2);
    j->checksum = j->checksum * 31 + nf_sum(j->end - 1 - len, len + 1);
    int32_t from = (r * 13 + j->id * 7) % 300;
    for (int k = 0; k < 1024; ++k) gather_idx[j->id][k] = from + k;
    j->checksum = j->checksum * 31 + (uint64_t)ff_gather_sum(table, gather_idx[j->id]);
  }
  return 0;
}

int main(void) {
  page = (size_t)sysconf(_SC_PAGESIZE);
  uint8_t* end = page_end();
  if (!end) return 1;
  for (size_t i = 1; i <= page; ++i) end[-(long)i] = (uint8_t)(i * 7 % 255 + 1);
  end[-1] = 0;
  static const size_t lengths[] = {0, 1, 15, 16, 63, 64, 255, 256, 1000, 3000};
  for (unsigned k = 0; k < sizeof lengths / sizeof lengths[0]; ++k)
    printf("strlen %zu: %zu\n", lengths[k], ff_strlen(end - 1 - lengths[k]));

  for (size_t i = 1; i <= page; ++i) end[-(long)i] = (uint8_t)((i * 13) % 200 + 28);
  end[-1] = 0;
  for (size_t n = 1; n <= 1024; n = n * 3 + 1)
    printf("signed sum %zu: %lld\n", n, (long long)ff_signed_sum((const int8_t*)end - 1 - n));
  for (size_t n = 1; n <= 2048; n = n * 5 + 3)
    printf("non-fault sum %zu: %llu\n", n, (unsigned long long)nf_sum(end - n, n));

  // The gather: a table of halfwords at the page's end, the last one 0, and
  // indices that walk it in order and go on past it.
  int16_t* table = gather_table(end, 700);
  static int32_t idx[4096];
  for (int start = 0; start < 700; start += 97) {
    for (int k = 0; k < 4096; ++k) idx[k] = start + k;
    printf("gather from %d: %lld\n", start, (long long)ff_gather_sum(table, idx));
  }

  struct job jobs[THREADS];
  pthread_t tids[THREADS];
  pthread_barrier_init(&start, 0, THREADS);
  for (int t = 0; t < THREADS; ++t) {
    jobs[t] = (struct job){t, page_end(), page_end(), 0, 0};
    if (!jobs[t].end || !jobs[t].gather_end) return 1;
    pthread_create(&tids[t], 0, scan_job, &jobs[t]);
  }
  for (int t = 0; t < THREADS; ++t) pthread_join(tids[t], 0);
  for (int t = 0; t < THREADS; ++t)
    printf("thread %d: %d wrong, checksum %llu\n", t, jobs[t].wrong, (unsigned long long)jobs[t].checksum);
  return 0;
}
