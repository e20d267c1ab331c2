#include "fleet/Gzip.hpp"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

namespace KestrelCLI {

std::string gzipped(std::string_view bytes) {
    constexpr int quick = 1;
    constexpr int gzipWindow = 15 + 16;
    z_stream stream{};
    if (deflateInit2(&stream, quick, Z_DEFLATED, gzipWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK) throw std::bad_alloc{};
    std::string result;
    std::size_t used = 0;
    result.resize(std::max<std::size_t>(bytes.size() / 4, 4096));
    int state = Z_OK;
    // zlib's counts are narrower than ours.
    constexpr std::size_t most = std::numeric_limits<uInt>::max();
    while (state != Z_STREAM_END) {
        if (stream.avail_in == 0) {
            const std::string_view piece = bytes.substr(0, most);
            bytes.remove_prefix(piece.size());
            stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
            stream.avail_in = static_cast<uInt>(piece.size());
        }
        if (used == result.size()) result.resize(used * 2);
        const std::size_t room = std::min(result.size() - used, most);
        stream.next_out = reinterpret_cast<Bytef*>(result.data() + used);
        stream.avail_out = static_cast<uInt>(room);
        state = deflate(&stream, bytes.empty() ? Z_FINISH : Z_NO_FLUSH);
        used += room - stream.avail_out;
    }
    deflateEnd(&stream);
    result.resize(used);
    return result;
}

}  // namespace KestrelCLI
