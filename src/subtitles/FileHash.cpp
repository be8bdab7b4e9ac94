#include "subtitles/FileHash.h"

#include <QFile>
#include <QtEndian>

namespace {

constexpr qint64 BlockSize = 65536;

quint64 sumOfWords(const QByteArray &block)
{
    quint64 sum = 0;
    const qsizetype words = block.size() / 8;
    for (qsizetype i = 0; i < words; ++i)
        sum += qFromLittleEndian<quint64>(block.constData() + i * 8);
    return sum;
}

} // namespace

FileHash::VideoHash FileHash::getVideoHashForPath(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray head = file.read(BlockSize);
    const qint64 size = file.size();
    if (size < BlockSize || head.size() < BlockSize || !file.seek(size - BlockSize))
        return {};
    const QByteArray tail = file.read(BlockSize);
    VideoHash result;
    result.fileHash = quint64(size) + sumOfWords(head) + sumOfWords(tail);
    result.fileSize = quint64(size);
    return result;
}

QString FileHash::hashText(quint64 hash)
{
    return QString::number(hash, 16);
}
