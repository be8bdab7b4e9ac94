// Downloaded subtitle data: base64 text holding gzip data.
#include "subtitles/Gzip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    constexpr qsizetype Limit = 4 * 1024 * 1024;
    (void)Gzip::isGzip(bytes);
    (void)Gzip::inflate(bytes, Limit);
    const QByteArray decoded = QByteArray::fromBase64(bytes);
    if (Gzip::isGzip(decoded))
        (void)Gzip::inflate(decoded, Limit);
    return 0;
}
