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

}  // namespace vantry
