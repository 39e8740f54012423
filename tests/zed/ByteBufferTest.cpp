#include <malloc.h>

#include <new>

#include "Blocks.h"

void* operator new[](std::size_t size) {
  largestArray = std::max(largestArray, size);
  void* const block = size < SIZE_MAX / 4 ? std::calloc(1, size) : nullptr;  // zero where the heap gives more
  if (block == nullptr) throw std::bad_alloc();
  return memset(block, 'x', size);
}

void operator delete[](void* data) noexcept {
  const std::string_view content(static_cast<char*>(data), malloc_usable_size(data));
  if (content.find_first_not_of('\0') != content.npos) ++freedWithContent;
  std::free(data);
}

void operator delete[](void* data, std::size_t) noexcept { operator delete[](data); }

TEST(ByteBuffer, ResizesExactlyAndOnlyWhenItMust) {
  ByteBuffer buffer(std::string_view("abcd"));
  buffer.Resize(7);
  EXPECT_THROW(buffer.Resize(SIZE_MAX), std::bad_alloc);
  EXPECT_TRUE(buffer.Capacity() == 7 && buffer[0] == 'a');
  buffer.Assign(buffer.Data() + 1, 3);  // from within itself
  EXPECT_TRUE(buffer == ByteBuffer({'b', 'c', 'd'}) && buffer == ByteBuffer(std::as_bytes(buffer.Span())));
  buffer.Assign(nullptr, 3);
  EXPECT_TRUE(!buffer.IsEmpty() && buffer.Size() == 0 && ByteBuffer(buffer).IsEmpty());
}

TEST(ByteBuffer, LeavesNothingBehindWhenWiping) {
  for (const bool wipe : {true, false}) {
    ByteBuffer secret, kept;
    secret.SetWipe(wipe);
    freedWithContent = 0;
    secret.Assign("first", 5);
    secret.Resize(1);  // the spare bytes still hold text
    secret.Resize(9);  // frees the first block
    EXPECT_EQ(secret[8], wipe ? '\0' : 'x');
    kept = secret;             // takes the flag with the text
    kept = std::move(secret);  // frees the copy
    kept.Clear();
    EXPECT_EQ(freedWithContent, wipe ? 0u : 3u);
  }
}
