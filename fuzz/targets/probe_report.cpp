// The ffprobe JSON report, as the tool or a damaged file may produce it.
#include "media/FileProbe.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray report(reinterpret_cast<const char *>(data), qsizetype(size));
    const FileProbe probe = FileProbe::fromReport(QStringLiteral("/fuzz/movie.mkv"), report);
    (void)probe;
    return 0;
}
