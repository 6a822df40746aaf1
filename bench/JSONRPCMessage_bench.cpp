// Reading a JSON-RPC byte stream in memory, side by side in one binary:
//   - Framing+simdjsonDOM: the ceiling, slicing "Content-Length" bodies and
//     parsing each in place with one reused simdjson DOM parser, then reading
//     "jsonrpc", "method" and "id" (no message objects);
//   - messageWithData: LXJSONRPCMessage::messageWithData over the whole
//     stream, advancing by the consumed length;
//   - messageWithData+members: the same, also reading parameters() and
//     result() of every message (building their values).
// The stream is the shared benchmark stream (gen_stream.py), made once in the
// build folder with 50,000 messages, or the file VANTOR_JSONRPC_STREAM names.
// Bytes per second are the stream's size per run; items are messages.
#include <benchmark/benchmark.h>
#include <simdjson.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "vantorcore/jsonrpc/LXJSONRPCMessage.h"

namespace {

constexpr int kDefaultMessageCount = 50'000;

std::filesystem::path streamPath() {
  if (const char* path = std::getenv("VANTOR_JSONRPC_STREAM")) return path;
  const std::filesystem::path folder =
      std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path path =
      folder / ("jsonrpc_stream_" + std::to_string(kDefaultMessageCount) + ".bin");
  if (!std::filesystem::exists(path)) {
    const std::string command = "python3 " VANTOR_SHARED_DIR "/bench/jsonrpc/gen_stream.py '" +
                                path.string() + "' " + std::to_string(kDefaultMessageCount) +
                                " > /dev/null";
    if (std::system(command.c_str()) != 0) throw std::runtime_error("cannot generate " + command);
  }
  return path;
}

// The whole stream, followed by the padding simdjson may read past a body
// (not counted in `size`).
struct Stream {
  std::string bytes;
  std::size_t size = 0;
};

const Stream& stream() {
  static const Stream loaded = [] {
    std::ifstream in(streamPath(), std::ios::binary);
    Stream s{std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())};
    s.size = s.bytes.size();
    s.bytes.append(simdjson::SIMDJSON_PADDING, '\0');
    return s;
  }();
  return loaded;
}

void reportSize(benchmark::State& state, std::size_t messages) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream().size));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * messages));
}

// The reference reader's header handling: "Content-Length" matched without
// regard to case, its value trimmed.
std::size_t contentLength(std::string_view block) {
  std::size_t length = 0;
  while (!block.empty()) {
    const std::size_t end = block.find("\r\n");
    const std::string_view line = block.substr(0, end);
    block = end == std::string_view::npos ? std::string_view() : block.substr(end + 2);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    std::string_view name = line.substr(0, colon);
    if (name.size() != 14 || strncasecmp(name.data(), "content-length", 14) != 0) continue;
    std::string_view value = line.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    std::from_chars(value.data(), value.data() + value.size(), length);
  }
  return length;
}

void BM_FramingSimdjsonDOM(benchmark::State& state) {
  const std::string_view bytes(stream().bytes.data(), stream().size);
  simdjson::dom::parser parser;
  std::size_t messages = 0;
  for (auto _ : state) {
    messages = 0;
    std::size_t position = 0;
    std::size_t kinds = 0;
    while (position < bytes.size()) {
      const auto* end = static_cast<const char*>(
          memmem(bytes.data() + position, bytes.size() - position, "\r\n\r\n", 4));
      if (!end) break;
      const std::size_t bodyStart = static_cast<std::size_t>(end - bytes.data()) + 4;
      const std::size_t length = contentLength(bytes.substr(position, bodyStart - 4 - position));
      simdjson::dom::element document;
      if (!parser.parse(bytes.data() + bodyStart, length, false).get(document)) {
        std::string_view version;
        kinds += document["jsonrpc"].get(version) == simdjson::SUCCESS && version == "2.0";
        kinds += !document["method"].error() + 2 * !document["id"].error();
      }
      position = bodyStart + length;
      ++messages;
    }
    benchmark::DoNotOptimize(kinds);
  }
  reportSize(state, messages);
}
BENCHMARK(BM_FramingSimdjsonDOM)->Name("Framing+simdjsonDOM")->Unit(benchmark::kMillisecond);

template <bool kTouchMembers>
void BM_MessageWithData(benchmark::State& state) {
  const lx::DataView bytes(reinterpret_cast<const std::uint8_t*>(stream().bytes.data()),
                           stream().size);
  std::size_t messages = 0;
  for (auto _ : state) {
    messages = 0;
    std::size_t position = 0;
    std::size_t consumed = 0;
    while (auto message =
               lx::LXJSONRPCMessage::messageWithData(bytes.subspan(position), &consumed)) {
      if constexpr (kTouchMembers) {
        benchmark::DoNotOptimize(message->parameters());
        benchmark::DoNotOptimize(message->result());
      }
      benchmark::DoNotOptimize(message);
      position += consumed;
      ++messages;
    }
    if (position != bytes.size()) state.SkipWithError("the stream did not parse to its end");
  }
  reportSize(state, messages);
}
BENCHMARK(BM_MessageWithData<false>)->Name("messageWithData")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MessageWithData<true>)->Name("messageWithData+members")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
