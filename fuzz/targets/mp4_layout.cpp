// MP4 files about to be tagged: the atom reader and the header copy.
#include "creation/Mp4TagSpace.h"

#include <QBuffer>
#include <QDir>
#include <QFile>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    if (!Mp4TagSpace::readLayout(buffer))
        return 0;
    static const QString path = QDir::tempPath() + QStringLiteral("/kinovela-fuzz-%1.mp4").arg(::getpid());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        return 0;
    file.close();
    (void)Mp4TagSpace::paddingBesideTags(path);
    (void)Mp4TagSpace::prepareForTags(path, 1000);
    QFile::remove(path);
    return 0;
}
