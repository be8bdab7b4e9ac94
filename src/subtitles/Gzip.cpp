#include "subtitles/Gzip.h"

#include <zlib.h>

namespace Gzip {

bool isGzip(const QByteArray &data)
{
    return data.size() >= 2 && quint8(data.at(0)) == 0x1f && quint8(data.at(1)) == 0x8b;
}

std::optional<QByteArray> inflate(const QByteArray &data, qsizetype limit)
{
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return std::nullopt;
    QByteArray output;
    char buffer[64 * 1024];
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = uInt(data.size());
    int status = Z_OK;
    while (status != Z_STREAM_END) {
        stream.next_out = reinterpret_cast<Bytef *>(buffer);
        stream.avail_out = sizeof buffer;
        status = ::inflate(&stream, Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END) {
            inflateEnd(&stream);
            return std::nullopt;
        }
        const qsizetype produced = qsizetype(sizeof buffer - stream.avail_out);
        if (output.size() + produced > limit) {
            inflateEnd(&stream);
            return std::nullopt;
        }
        output.append(buffer, produced);
        if (status == Z_OK && produced == 0 && stream.avail_in == 0) {
            // Input ended before the stream did: truncated data.
            inflateEnd(&stream);
            return std::nullopt;
        }
    }
    inflateEnd(&stream);
    return output;
}

} // namespace Gzip
