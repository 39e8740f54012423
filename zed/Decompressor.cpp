#include <zed/Decompressor.h>

#include <functional>
#include <new>

#include <zed/detail/Stream.h>

namespace zed {
namespace {

using Block = std::span<const unsigned char>;

constexpr std::size_t gzipFrame = 18;  // header and trailer
constexpr std::size_t largestGzip = 0xFFFFFFFF;

enum class Container { none, zlib, gzip };

Container ContainerOf(std::int32_t windowBits, Block in) {
  const bool isEither = windowBits >= 40 && windowBits <= 47;
  if (windowBits >= 24 && windowBits <= 31) return Container::gzip;
  if (isEither && in.size() >= 2 && in[0] == 0x1F && in[1] == 0x8B) return Container::gzip;
  if (!isEither && (windowBits < 8 || windowBits > 15)) return Container::none;
  // The header of a zlib block tells its window.
  return in.empty() || (in[0] >> 4) + 8 <= windowBits % 16 ? Container::zlib : Container::none;
}

// A zlib stream that inflates; ends with the object if not before.
class Inflater {
 public:
  explicit Inflater(std::int32_t windowBits) {
    // Always with the largest window of the container: with another one the answer would hang on the pieces that a
    // block is worked through in, where it has more distant matches.
    const int largest = windowBits | 7;
    const int status =
        inflateInit2_(&m_stream, largest, detail::zlibInterface, static_cast<int>(sizeof(z_stream)));
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    m_isOpen = status == Z_OK;
  }
  ~Inflater() { End(); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  bool IsOpen() const noexcept { return m_isOpen; }
  bool End() noexcept {
    const bool isGood = m_isOpen && inflateEnd(&m_stream) == Z_OK;
    m_isOpen = false;
    return isGood;
  }
  int Run(Block& in, std::span<unsigned char>& out) {
    const int status = detail::Run(m_stream, in, out, inflate);
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    return status;
  }

 private:
  z_stream m_stream{};
  bool m_isOpen = false;
};

// The most that deflate can make of a block: a match of 258 bytes takes two bits at least.
std::size_t LargestContent(Block in) { return in.size() * 1032 + 64; }

// The uncompressed size in a gzip trailer, little-endian.
std::size_t TrailerSize(Block in) {
  const Block field = in.last(4);
  return std::size_t{field[3]} << 24 | std::size_t{field[2]} << 16 | std::size_t{field[1]} << 8 | field[0];
}

bool UnpackGzip(Inflater& inflater, Block in, ByteBuffer& out, std::size_t maximum) {
  if (in.size() < gzipFrame) return false;
  const std::size_t size = TrailerSize(in);
  if (size > maximum || size > LargestContent(in)) return false;
  out.Resize(size);
  std::span<unsigned char> room = out.Span();
  return inflater.Run(in, room) == Z_STREAM_END && in.empty();  // zlib has compared the size with the trailer
}

// The zlib container does not tell its size: the output grows until the stream ends.
bool UnpackZlib(Inflater& inflater, Block in, ByteBuffer& out, std::size_t maximum) {
  const std::size_t bound = std::min(maximum, LargestContent(in));
  out.Resize(std::min(bound, in.size() * 4));
  std::size_t written = 0;
  for (;;) {
    std::span<unsigned char> room = out.Span().subspan(written);
    const int status = inflater.Run(in, room);
    written = out.Size() - room.size();
    if (status == Z_STREAM_END) break;
    if (status != Z_BUF_ERROR || !room.empty() || out.Size() == bound) return false;
    out.Resize(std::min(bound, out.Size() * 2));
  }
  out.Resize(written);
  return in.empty();
}

// Puts the content of one whole block into `out`, which is empty. After false it may hold a piece.
bool Unpack(Inflater& inflater, std::int32_t windowBits, Block in, ByteBuffer& out, std::size_t maximum) {
  switch (ContainerOf(windowBits, in)) {
    case Container::gzip:
      return UnpackGzip(inflater, in, out, maximum);
    case Container::zlib:
      return UnpackZlib(inflater, in, out, maximum);
    case Container::none:
      break;
  }
  return false;
}

// Unpacks into a buffer of its own and puts that in place of `out` at the end, so that the block may lie in
// `out`.
bool UnpackInto(Inflater& inflater, std::int32_t windowBits, Block in, ByteBuffer& out, std::size_t maximum) {
  const std::less<const unsigned char*> before;
  const bool isApart =
      !before(in.data(), out.Data() + out.Capacity()) || !before(out.Data(), in.data() + in.size());
  if (isApart) out.Clear();
  ByteBuffer work;
  work.SetWipe(out.Wipe());
  const bool isGood = Unpack(inflater, windowBits, in, work, maximum) && inflater.End();
  if (!isGood) work.Clear();
  out = std::move(work);
  return isGood;
}

// Works through a block and hands each piece of its content to `isGood`, which may refuse it.
template <class Check>
bool WorkThrough(Block in, std::int32_t windowBits, Check isGood) {
  const Container container = ContainerOf(windowBits, in);
  Inflater inflater(windowBits);
  if (container == Container::none || !inflater.IsOpen()) return false;

  constexpr std::size_t scratchSize = 65536;
  const auto scratch = std::make_unique_for_overwrite<unsigned char[]>(scratchSize);
  const std::size_t largest = container == Container::gzip ? largestGzip : noLimit;
  for (std::size_t total = 0;;) {
    std::span<unsigned char> room(scratch.get(), scratchSize);
    const int status = inflater.Run(in, room);
    const Block piece(scratch.get(), scratchSize - room.size());
    total += piece.size();
    if (total > largest || !isGood(piece)) return false;
    if (status == Z_STREAM_END) return in.empty();
    if (status != Z_BUF_ERROR || !room.empty()) return false;
  }
}

}  // namespace

struct Decompressor::Context {
  Inflater inflater;
  ByteBuffer output;
  std::int32_t windowBits;
  std::size_t maximum;
};

Decompressor::Decompressor(std::int32_t windowBits, std::size_t maximum)
    : m_context(new Context{Inflater(windowBits), {}, windowBits, maximum}) {}

Decompressor::~Decompressor() = default;

bool Decompressor::Decompress(const void* data, std::size_t length) {
  if (data == nullptr || length == 0) return true;
  Context& context = *m_context;
  if (!context.inflater.IsOpen()) return false;
  const struct AtExit {  // the stream is spent, whatever happened
    Inflater& inflater;
    ~AtExit() { inflater.End(); }
  } atExit{context.inflater};
  return UnpackInto(context.inflater, context.windowBits, {static_cast<const unsigned char*>(data), length},
                    context.output, context.maximum);
}

bool Decompressor::GetResult(ByteBuffer& out) const {
  if (&out != &m_context->output) out.Assign(m_context->output.Data(), m_context->output.Size());
  return true;
}

ByteBuffer& Decompressor::Result() noexcept { return m_context->output; }

std::size_t DecompressGzip(const ByteBuffer& in, ByteBuffer& out, std::size_t maximum) {
  constexpr std::int32_t windowBits = 31;
  Inflater inflater(windowBits);
  return UnpackInto(inflater, windowBits, in.Span(), out, maximum) ? out.Size() : 0;
}

bool IsCompleteBlock(const void* data, std::size_t length, std::int32_t windowBits) {
  const Block in(static_cast<const unsigned char*>(data), data != nullptr ? length : 0);
  return WorkThrough(in, windowBits, [](Block) { return true; });
}

bool IsBlockOf(const ByteBuffer& block, const ByteBuffer& content, std::int32_t windowBits) {
  Block rest = content.Span();
  const auto isNext = [&rest](Block piece) {
    if (piece.size() > rest.size() || !std::ranges::equal(piece, rest.first(piece.size()))) return false;
    rest = rest.subspan(piece.size());
    return true;
  };
  return WorkThrough(block.Span(), windowBits, isNext) && rest.empty();
}

}  // namespace zed
