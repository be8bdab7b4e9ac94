// The converter's output, cut into lines and read line by line.
#include "creation/ConverterOutput.h"
#include "creation/ConverterRunner.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    ConverterOutput output;
    QStringList lines = output.feed(bytes.first(bytes.size() / 2));
    lines += output.feed(bytes.sliced(bytes.size() / 2));
    lines += output.finish();
    for (const QString &text : std::as_const(lines)) {
        (void)ConverterRunner::progressForLine(text, 5400.0, 0, 1);
        (void)ConverterRunner::progressForLine(text, 0.0, 2, 3);
        (void)ConverterRunner::progressForLine(text, 1e-300, 1, 0);
    }
    return 0;
}
