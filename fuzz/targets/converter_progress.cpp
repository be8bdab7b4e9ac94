// The converter's progress text, read chunk by chunk.
#include "creation/ConverterRunner.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    (void)ConverterRunner::progressForChunk(text, 5400.0, 0, 1);
    (void)ConverterRunner::progressForChunk(text, 0.0, 2, 3);
    (void)ConverterRunner::progressForChunk(text, 1e-300, 1, 0);
    return 0;
}
