#include <zlib.h>

#include <cstdint>
#include <limits>

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/Data+Compression.h"

namespace lx {
namespace {

constexpr uInt kChunk = 131072;

}  // namespace

struct ZlibInflater::Impl {
  z_stream stream{};
  bool started = false;
  bool failed = false;
};

ZlibInflater::ZlibInflater() : impl_(std::make_unique<Impl>()) {
  if (inflateInit(&impl_->stream) == Z_OK) {
    impl_->started = true;
  } else {
    logLine(u"ret != Z_OK");
    impl_->failed = true;
  }
}

ZlibInflater::~ZlibInflater() {
  if (impl_->started) inflateEnd(&impl_->stream);
}

bool ZlibInflater::update(DataView input, Data& out) {
  if (impl_->failed) return false;
  if (finished_) return true;  // bytes after the stream's end are not ours
  z_stream& s = impl_->stream;
  s.next_in = const_cast<Bytef*>(input.data());
  std::size_t remaining = input.size();
  // zlib counts input in 32 bits; larger buffers go in slices.
  do {
    const uInt slice = remaining > std::numeric_limits<uInt>::max()
                           ? std::numeric_limits<uInt>::max()
                           : static_cast<uInt>(remaining);
    s.avail_in = slice;
    do {
      // Inflate straight into the result: the same 128 KiB steps as a
      // separate chunk buffer, without copying each chunk.
      const std::size_t at = out.size();
      if (at > std::numeric_limits<std::uint32_t>::max() - kChunk) {
        impl_->failed = true;  // the running size is held in 32 bits
        return false;
      }
      out.resize(at + kChunk);
      s.next_out = out.data() + at;
      s.avail_out = kChunk;
      const int ret = inflate(&s, Z_NO_FLUSH);
      out.resize(at + (kChunk - s.avail_out));
      if (ret == Z_NEED_DICT || ret < 0) {
        logFormat(u"inflate: ret != Z_OK %d", ret);
        impl_->failed = true;
        return false;
      }
      if (ret == Z_STREAM_END) {
        finished_ = true;
        return true;
      }
    } while (s.avail_out == 0);
    remaining -= slice - s.avail_in;
    if (s.avail_in != 0) break;  // the chunk was not filled: the loop's end
  } while (remaining > 0);
  return true;
}

std::optional<Data> lx_compressedData(DataView data) {
  Data out(compressBound(static_cast<uLong>(data.size())));
  uLongf length = static_cast<uLongf>(out.size());
  if (compress(out.data(), &length, data.data(), static_cast<uLong>(data.size())) != Z_OK) {
    return std::nullopt;
  }
  out.resize(length);
  return out;
}

std::optional<Data> lx_decompressedData(DataView data) {
  ZlibInflater inflater;
  Data out;
  if (!inflater.update(data, out)) return std::nullopt;
  return out;
}

}  // namespace lx
