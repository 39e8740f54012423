#include <zed/Compressor.h>

#include <new>

#include <zed/detail/Stream.h>

namespace zed {
namespace {

constexpr std::size_t largestBlock = 0xFFFFFFFF;
constexpr std::size_t gzipFrame = 18;  // header and trailer

}  // namespace

struct Compressor::Context {
  explicit Context(std::int32_t windowBits);
  ~Context() { End(); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  void End() noexcept;

  z_stream stream{};
  ByteBuffer result;
  bool isReady = false;  // initialised, and neither used nor ended since
  bool isOpen = false;   // zlib holds memory for the stream
  bool isComplete = false;
};

Compressor::Context::Context(std::int32_t windowBits) {
  const int status =
      deflateInit2_(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY,
                    detail::zlibInterface, static_cast<int>(sizeof(z_stream)));
  if (status == Z_MEM_ERROR) throw std::bad_alloc();
  isReady = isOpen = status == Z_OK;
}

void Compressor::Context::End() noexcept {
  if (isOpen) deflateEnd(&stream);
  isReady = isOpen = false;
}

Compressor::Compressor(std::int32_t windowBits) : m_context(std::make_unique<Context>(windowBits)) {}

Compressor::~Compressor() = default;

bool Compressor::Compress(const void* data, std::size_t length) {
  if (data == nullptr || length == 0) return true;
  Context& context = *m_context;
  if (length > largestBlock || !context.isReady) return false;

  ByteBuffer work;
  work.SetWipe(context.result.Wipe());
  // What cannot be compressed costs more than the frame: deflate adds five bytes to each stored piece.
  work.Resize(
      std::max<std::size_t>(length + gzipFrame, deflateBound(&context.stream, static_cast<uLong>(length))));
  std::span<const unsigned char> in(static_cast<const unsigned char*>(data), length);
  std::span<unsigned char> room = work.Span();
  context.isReady = false;
  if (detail::Run(context.stream, in, room, deflate) != Z_STREAM_END) return false;

  const std::size_t written = work.Size() - room.size();
  context.result.Clear();
  context.result.Assign(work.Data(), written);
  context.isComplete = true;
  return true;
}

bool Compressor::GetResult(ByteBuffer& out) {
  m_context->End();
  if (&out != &m_context->result) out.Assign(m_context->result.Data(), m_context->result.Size());
  return true;
}

ByteBuffer& Compressor::Result() noexcept { return m_context->result; }

bool Compressor::IsComplete() const noexcept { return m_context->isComplete; }

Zip::~Zip() = default;

GZip::~GZip() = default;

}  // namespace zed
