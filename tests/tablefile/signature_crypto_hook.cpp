// signature_crypto_hook.cpp -- libcrypto's allocations counted and failed like the library's own.
#include <openssl/crypto.h>

#include <cstdlib>

#include "runtime/mcmemoir.h"
#include "signature_support.h"

namespace mc::test {
namespace {

// The test owns the process: libcrypto's allocator is routed through the counting hook before
// libcrypto allocates anything.
void* allocate(size_t size, const char* /*file*/, int /*line*/) {
  return mc::testing::compter_allocation() ? std::malloc(size) : nullptr;
}
void* reallocate(void* block, size_t size, const char* file, int line) {
  if (block == nullptr) {
    return allocate(size, file, line);
  }
  if (size == 0) {
    std::free(block);
    return nullptr;
  }
  return mc::testing::compter_allocation() ? std::realloc(block, size) : nullptr;
}
void release(void* block, const char* /*file*/, int /*line*/) { std::free(block); }
const bool g_crypto_counted = CRYPTO_set_mem_functions(allocate, reallocate, release) == 1;

}  // namespace

bool crypto_allocations_counted() { return g_crypto_counted; }

}  // namespace mc::test
