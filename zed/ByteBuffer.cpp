#include <zed/ByteBuffer.h>

#include <string.h>

#include <utility>

namespace zed {

ByteBuffer::ByteBuffer(const ByteBuffer& other) : m_wipe(other.m_wipe) { Assign(other.Data(), other.m_size); }

ByteBuffer::ByteBuffer(ByteBuffer&& other) noexcept : m_wipe(other.m_wipe) { TakeBlock(other); }

ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (this != &other) {
    ByteBuffer copy(other);
    *this = std::move(copy);
  }
  return *this;
}

ByteBuffer& ByteBuffer::operator=(ByteBuffer&& other) noexcept {
  if (this != &other) {
    Clear();
    m_wipe |= other.m_wipe;
    TakeBlock(other);
  }
  return *this;
}

void ByteBuffer::Resize(std::size_t size) {
  if (size > m_capacity) {
    auto block = NewBlock(size);
    std::copy_n(m_data.get(), m_size, block.get());
    Replace(std::move(block), size);
  }
  m_size = size;
}

void ByteBuffer::Assign(const void* data, std::size_t size) {
  if (data == nullptr) size = 0;
  const auto* const bytes = static_cast<const unsigned char*>(data);
  if (size > m_capacity) {
    auto block = NewBlock(size);
    std::copy_n(bytes, size, block.get());
    Replace(std::move(block), size);
  } else if (size > 0) {
    memmove(m_data.get(), bytes, size);
  }
  m_size = size;
}

void ByteBuffer::Clear() noexcept { Replace(nullptr, 0); }

std::unique_ptr<unsigned char[]> ByteBuffer::NewBlock(std::size_t size) const {
  return m_wipe != 0 ? std::make_unique<unsigned char[]>(size)
                     : std::make_unique_for_overwrite<unsigned char[]>(size);
}

// Every block goes through here on its way out. explicit_bzero, because a plain memset in front of a free is
// removed by the optimiser.
void ByteBuffer::Replace(std::unique_ptr<unsigned char[]> block, std::size_t size) noexcept {
  if (m_wipe != 0 && m_data != nullptr) explicit_bzero(m_data.get(), m_capacity);
  m_data = std::move(block);
  m_size = m_capacity = size;
  m_empty = m_data == nullptr;
}

void ByteBuffer::TakeBlock(ByteBuffer& other) noexcept {
  m_data = std::move(other.m_data);
  m_size = std::exchange(other.m_size, 0);
  m_capacity = std::exchange(other.m_capacity, 0);
  m_empty = std::exchange(other.m_empty, true);
}

}  // namespace zed
