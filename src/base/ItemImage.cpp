#include "base/ItemImage.h"

#include <QBuffer>
#include <QFile>
#include <QHash>
#include <QImageReader>
#include <QMutex>

#include <atomic>

namespace {

quint64 nextCacheKey()
{
    static std::atomic<quint64> last{0};
    return ++last;
}

} // namespace

ItemImage::ItemImage(QByteArray encoded, QString resourceName)
    : m_encoded(std::move(encoded))
    , m_resourceName(std::move(resourceName))
    , m_cacheKey(m_encoded.isEmpty() ? 0 : nextCacheKey())
{
}

ItemImage ItemImage::fromResource(const QString &name)
{
    // Read once per name, so every row showing the same rating icon shares one key and one thumbnail.
    static QMutex mutex;
    static QHash<QString, ItemImage> loaded;
    const QMutexLocker locker(&mutex);
    const auto it = loaded.constFind(name);
    if (it != loaded.constEnd())
        return it.value();
    const QString fileName = name.endsWith(QStringLiteral(".png")) ? name : name + QStringLiteral(".png");
    QFile file(QStringLiteral(":/images/") + fileName);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const ItemImage image(file.readAll(), name);
    loaded.insert(name, image);
    return image;
}

ItemImage ItemImage::fromEncoded(const QByteArray &encoded)
{
    ItemImage image(encoded);
    const QSize size = image.size();
    if (image.format().isEmpty() || !size.isValid())
        return {};
    // Read from the header, before any pixel is decoded: a small file can claim an enormous picture.
    if (qint64(size.width()) * size.height() > MaxPixels)
        return {};
    return image;
}

ItemImage ItemImage::fromFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return fromEncoded(file.readAll());
}

QByteArray ItemImage::format() const
{
    if (m_encoded.isEmpty())
        return {};
    QByteArray bytes = m_encoded;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader::imageFormat(&buffer);
}

QSize ItemImage::size() const
{
    if (m_encoded.isEmpty())
        return {};
    QByteArray bytes = m_encoded;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    return reader.size();
}

QImage ItemImage::decode(const QSize &bound) const
{
    if (m_encoded.isEmpty())
        return {};
    QByteArray bytes = m_encoded;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize full = reader.size();
    if (!full.isValid() || qint64(full.width()) * full.height() > MaxPixels)
        return {};
    if (bound.isValid() && full.isValid() && (full.width() > bound.width() || full.height() > bound.height()))
        reader.setScaledSize(full.scaled(bound, Qt::KeepAspectRatio));
    return reader.read();
}
