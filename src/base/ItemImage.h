#pragma once

#include <QByteArray>
#include <QImage>
#include <QMetaType>
#include <QSize>
#include <QString>

/**
 * The image value of a movie item: the encoded bytes (the JPEG or PNG as it
 * was downloaded or read) and, for the application's own pictures, their
 * resource name ("mnf", "pnf", "blank", "PG-13", ...). The pixels are
 * decoded only to be shown, at the size shown, so a long list does not hold
 * a decoded poster per movie. The tag writer stores the original bytes.
 */
class ItemImage
{
public:
    ItemImage() = default;
    explicit ItemImage(QByteArray encoded, QString resourceName = {});

    /** One of the application's own images, by name (":/images/<name>.png"). */
    static ItemImage fromResource(const QString &name);
    /** The largest picture taken, in pixels (a 2000x3000 poster is 6 million). */
    static constexpr qint64 MaxPixels = 40'000'000;

    /** Bytes of an image file; a null image when the bytes are not a readable image or a picture over MaxPixels. */
    static ItemImage fromEncoded(const QByteArray &encoded);
    static ItemImage fromFile(const QString &path);

    bool isNull() const { return m_encoded.isEmpty(); }
    const QByteArray &encoded() const { return m_encoded; }
    const QString &resourceName() const { return m_resourceName; }
    /** "jpeg", "png", ... or empty when unknown. */
    QByteArray format() const;
    /** Width and height, read from the header without decoding the pixels. */
    QSize size() const;
    /** Decodes, scaled down to fit `bound` (keeping the aspect ratio) when given. */
    QImage decode(const QSize &bound = QSize()) const;
    /**
     * Names this image for caches of what is drawn from it: unique in the
     * process, given when the image is made and kept by its copies; 0 for a
     * null image. Images made separately have different keys even when their
     * bytes are equal (the application's own images, by name, share one).
     */
    quint64 cacheKey() const { return m_cacheKey; }

    bool operator==(const ItemImage &other) const
    {
        return m_cacheKey == other.m_cacheKey
            || (m_resourceName == other.m_resourceName && m_encoded == other.m_encoded);
    }

private:
    QByteArray m_encoded;
    QString m_resourceName;
    quint64 m_cacheKey = 0;
};

Q_DECLARE_METATYPE(ItemImage)
