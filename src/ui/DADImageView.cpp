#include "ui/DADImageView.h"

#include <QDragEnterEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QPixmap>

DADImageView::DADImageView(QWidget *parent)
    : QLabel(parent)
{
    setAcceptDrops(true);
    setAlignment(Qt::AlignCenter);
    setMinimumSize(160, 240);
    setFrameShape(QFrame::StyledPanel);
}

void DADImageView::setImage(const ItemImage &image)
{
    m_image = image;
    showImage();
}

void DADImageView::showImage()
{
    if (m_image.isNull()) {
        clear();
        return;
    }
    const QImage decoded = m_image.decode(size() * devicePixelRatioF());
    QPixmap pixmap = QPixmap::fromImage(decoded);
    pixmap.setDevicePixelRatio(devicePixelRatioF());
    setPixmap(pixmap);
}

void DADImageView::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    showImage();
}

bool DADImageView::checkExtensionWithDrag(const QMimeData *data) const
{
    if (!data || !data->hasUrls() || data->urls().isEmpty())
        return false;
    const QUrl first = data->urls().constFirst();
    if (!first.isLocalFile())
        return false;
    return m_fileTypes.contains(QFileInfo(first.toLocalFile()).suffix().toLower());
}

void DADImageView::dragEnterEvent(QDragEnterEvent *event)
{
    m_fileTypeIsOk = checkExtensionWithDrag(event->mimeData());
    if (m_fileTypeIsOk) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void DADImageView::dragMoveEvent(QDragMoveEvent *event)
{
    if (m_fileTypeIsOk) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void DADImageView::dropEvent(QDropEvent *event)
{
    if (!checkExtensionWithDrag(event->mimeData())) {
        event->ignore();
        return;
    }
    const QString path = event->mimeData()->urls().constFirst().toLocalFile();
    const ItemImage dropped = ItemImage::fromFile(path);
    if (dropped.isNull()) {
        event->ignore();
        return;
    }
    m_droppedFilePath = path;
    setImage(dropped);
    event->setDropAction(Qt::CopyAction);
    event->accept();
    Q_EMIT imageDropped(path);
}
