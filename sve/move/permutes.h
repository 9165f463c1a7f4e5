// Interleave and de-interleave loops over plain arrays of one vector's
// length. They know nothing of vectors: predicate permutes run them over the
// byte form of predicate registers too.
#pragma once

#include <cstdint>

namespace sve {

// The size code of the elements being moved: 0 to 3 for bytes to doublewords.
enum element_size : uint32_t { esize_b, esize_h, esize_s, esize_d };

// Interleaves the low halves (zip1) or the high halves (zip2) of a and b.
void sve_zip1(char* d, const char* a, const char* b, element_size size);
void sve_zip2(char* d, const char* a, const char* b, element_size size);
// The even elements of a, then the even elements of b.
void sve_uzp1(char* d, const char* a, const char* b, element_size size);

}  // namespace sve
