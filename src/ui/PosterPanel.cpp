#include "ui/PosterPanel.h"

#include "base/ItemImage.h"

#include <QLabel>
#include <QVBoxLayout>

namespace {
constexpr int PanelWidth = 240;
}

PosterPanel::PosterPanel(QWidget *parent)
    : QWidget(parent)
    , m_poster(new QLabel(this))
    , m_caption(new QLabel(this))
{
    m_poster->setObjectName(QStringLiteral("posterView"));
    m_poster->setAlignment(Qt::AlignCenter);
    m_poster->setFixedSize(PanelWidth, PanelWidth * 3 / 2);
    m_caption->setObjectName(QStringLiteral("posterCaption"));
    m_caption->setWordWrap(true);
    m_caption->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_caption->setFixedWidth(PanelWidth);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_poster);
    layout->addWidget(m_caption);
    layout->addStretch();
}

void PosterPanel::showMovies(const QList<MovieItem> &selected)
{
    if (selected.size() != 1) {
        m_poster->clear();
        m_caption->setText(selected.isEmpty() ? QString() : tr("%1 movies selected").arg(selected.size()));
        return;
    }
    const MovieItem &item = selected.constFirst();
    const QVariant poster = item.value(ItemKey::moviePoster);
    const qreal ratio = devicePixelRatioF();
    QPixmap pixmap;
    if (poster.canConvert<ItemImage>())
        pixmap = QPixmap::fromImage(poster.value<ItemImage>().decode(m_poster->size() * ratio));
    pixmap.setDevicePixelRatio(ratio);
    m_poster->setPixmap(pixmap);
    const QString title = item.value(ItemKey::movieTitle).toString();
    const QString year = item.value(ItemKey::movieReleaseYear).toString();
    if (title.isEmpty())
        m_caption->setText(tr("%1\nnot identified").arg(item.value(ItemKey::fileName).toString()));
    else
        m_caption->setText(year.isEmpty() ? title : tr("%1 (%2)").arg(title, year));
}

QString PosterPanel::caption() const
{
    return m_caption->text();
}
