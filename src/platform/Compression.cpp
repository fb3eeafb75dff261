#include "platform/Compression.h"

#include <memory>
#include <zstd.h>

namespace vantry {

namespace {

constexpr int level = 3;  // a first read of many logs waits for this

// Setting a context up costs more than a small text, so each thread keeps its own; a context holds
// nothing of one call for the next.
struct FreeContext {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

ZSTD_CCtx* compressor() {
    thread_local const std::unique_ptr<ZSTD_CCtx, FreeContext> context(ZSTD_createCCtx());
    return context.get();
}

ZSTD_DCtx* decompressor() {
    thread_local const std::unique_ptr<ZSTD_DCtx, FreeContext> context(ZSTD_createDCtx());
    return context.get();
}

}  // namespace

std::optional<std::string> compressed(std::string_view bytes) {
    if (compressor() == nullptr) return std::nullopt;
    std::string result(ZSTD_compressBound(bytes.size()), '\0');
    const std::size_t size = ZSTD_compressCCtx(compressor(), result.data(), result.size(),
                                               bytes.data(), bytes.size(), level);
    if (ZSTD_isError(size) != 0 || size == 0 || size >= bytes.size()) return std::nullopt;
    result.resize(size);
    result.shrink_to_fit();
    return result;
}

std::optional<std::string> decompressed(std::string_view bytes, std::size_t size) {
    // The frame says how much it holds; a lie is caught below, an excess before it costs memory.
    if (decompressor() == nullptr || ZSTD_getFrameContentSize(bytes.data(), bytes.size()) != size) {
        return std::nullopt;
    }
    std::string result(size, '\0');
    const std::size_t written = ZSTD_decompressDCtx(decompressor(), result.data(), result.size(),
                                                    bytes.data(), bytes.size());
    if (ZSTD_isError(written) != 0 || written != size) return std::nullopt;
    return result;
}

struct StreamDecompressor::State {
    std::unique_ptr<ZSTD_DCtx, FreeContext> context{ZSTD_createDCtx()};
};

StreamDecompressor::StreamDecompressor() : state_(std::make_unique<State>()) {}
StreamDecompressor::StreamDecompressor(StreamDecompressor&&) noexcept = default;
StreamDecompressor& StreamDecompressor::operator=(StreamDecompressor&&) noexcept = default;
StreamDecompressor::~StreamDecompressor() = default;

std::optional<StreamDecompressor::Step> StreamDecompressor::unpack(std::string_view input,
                                                                   std::span<char> output) {
    if (state_->context == nullptr) return std::nullopt;
    ZSTD_inBuffer in{.src = input.data(), .size = input.size(), .pos = 0};
    ZSTD_outBuffer out{.dst = output.data(), .size = output.size(), .pos = 0};
    const std::size_t left = ZSTD_decompressStream(state_->context.get(), &out, &in);
    if (ZSTD_isError(left) != 0) return std::nullopt;
    // Without anything left to take, a finished frame asks for the next one.
    if (in.pos > 0 || out.pos > 0) isComplete_ = left == 0;
    return Step{.taken = in.pos, .made = out.pos};
}

}  // namespace vantry
