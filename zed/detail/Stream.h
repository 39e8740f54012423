// One run of zlib over whole blocks of any size. Not for users: it needs zlib's header.
#pragma once

#ifndef ZLIB_CONST
#define ZLIB_CONST
#endif
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>

namespace zed::detail {

// The interface of zlib that is used here; zlib compares the first figure only.
inline constexpr const char* zlibInterface = "1.2.3";

// The most that zlib's counters take at once.
inline constexpr std::size_t wholePiece = std::numeric_limits<uInt>::max();

// Runs `step` (deflate or inflate) until the stream ends, fails, or lacks input or room; takes what was used
// off the front of `in` and `out`. Answers zlib's status: Z_STREAM_END, Z_BUF_ERROR for lack of input or
// room, or a failure. Blocks of up to `piece` bytes are one call; longer ones are handed over piece by piece.
template <class Step>
int Run(z_stream& stream, std::span<const unsigned char>& in, std::span<unsigned char>& out, Step step,
        std::size_t piece = wholePiece) {
  unsigned char none = 0;  // zlib refuses a null output even where there is nothing to write
  for (;;) {
    const auto input = in.first(std::min(in.size(), piece));
    const auto room = out.first(std::min(out.size(), piece));
    stream.next_in = input.data();
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = room.empty() ? &none : room.data();
    stream.avail_out = static_cast<uInt>(room.size());
    const int status = step(&stream, input.size() == in.size() ? Z_FINISH : Z_NO_FLUSH);
    in = in.subspan(input.size() - stream.avail_in);
    out = out.subspan(room.size() - stream.avail_out);
    if (status != Z_OK && status != Z_BUF_ERROR) return status;
    const bool moreInput = stream.avail_in == 0 && !in.empty();
    const bool moreRoom = stream.avail_out == 0 && !out.empty();
    if (!moreInput && !moreRoom) return Z_BUF_ERROR;
  }
}

}  // namespace zed::detail
