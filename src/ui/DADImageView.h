#pragma once

#include "base/ItemImage.h"

#include <QLabel>
#include <QMimeData>
#include <QStringList>

#include <optional>

/**
 * The editor's poster view: shows an image (decoded at the view's size) and
 * accepts a dropped JPEG or PNG file, judged by the first file's extension.
 * A successful drop records the path and shows the dropped picture.
 */
class DADImageView : public QLabel
{
    Q_OBJECT
public:
    explicit DADImageView(QWidget *parent = nullptr);

    QStringList fileTypes() const { return m_fileTypes; }
    bool fileTypeIsOk() const { return m_fileTypeIsOk; }
    void setFileTypeIsOk(bool ok) { m_fileTypeIsOk = ok; }
    std::optional<QString> droppedFilePath() const { return m_droppedFilePath; }
    void setDroppedFilePath(const QString &path) { m_droppedFilePath = path; }

    void setImage(const ItemImage &image);
    ItemImage image() const { return m_image; }

    /** True when the drag's first file has an accepted extension. */
    bool checkExtensionWithDrag(const QMimeData *data) const;

Q_SIGNALS:
    void imageDropped(const QString &path);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void showImage();

    QStringList m_fileTypes{QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("png")};
    bool m_fileTypeIsOk = false;
    std::optional<QString> m_droppedFilePath;
    ItemImage m_image;
};
