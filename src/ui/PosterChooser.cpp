#include "ui/PosterChooser.h"

#include "metadata/TMDB.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

PosterChooser::PosterChooser(QWidget *parent)
    : QDialog(parent)
    , m_posters(new QListWidget(this))
    , m_status(new QLabel(this))
{
    setObjectName(QStringLiteral("posterSearchWindow"));
    setWindowTitle(tr("Choose Poster"));
    setWindowModality(Qt::WindowModal);
    resize(580, 440);
    m_posters->setObjectName(QStringLiteral("postersListArrayController"));
    m_posters->setViewMode(QListView::IconMode);
    m_posters->setIconSize(QSize(92, 138));
    m_posters->setGridSize(QSize(108, 150));
    m_posters->setResizeMode(QListView::Adjust);
    m_posters->setMovement(QListView::Static);
    m_posters->setSelectionMode(QAbstractItemView::SingleSelection);
    // The chosen poster is framed in the selection colour (an icon alone shows no selection).
    m_posters->setStyleSheet(QStringLiteral("QListView::item { border: 4px solid transparent; padding: 2px; }"
                                            "QListView::item:selected { border-color: palette(highlight);"
                                            " background: palette(highlight); }"));
    m_status->setObjectName(QStringLiteral("posterStatus"));
    m_status->setWordWrap(true);
    auto *buttons = new QDialogButtonBox(this);
    m_ok = buttons->addButton(tr("Use This Poster"), QDialogButtonBox::AcceptRole);
    m_ok->setObjectName(QStringLiteral("okBTN_insidePosterSearchWindow"));
    m_ok->setDefault(true);
    QPushButton *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelBTN_insidePosterSearchWindow"));
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_posters, 1);
    layout->addWidget(m_status);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &PosterChooser::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &PosterChooser::reject);
    connect(m_posters, &QListWidget::itemDoubleClicked, this, &PosterChooser::accept);
}

void PosterChooser::openFor(qint64 tmdbID)
{
    m_choices.clear();
    m_posters->clear();
    m_ok->setEnabled(false);
    setEnabled(true);
    m_status->setText(tr("Getting the posters from TMDb\u2026"));
    open();
    m_posters->setFocus();
    const quint64 generation = ++m_generation;
    QPointer<PosterChooser> self(this);
    TMDB().getThumbnailsWithTmdbID(tmdbID, [self, generation](const QList<PosterChoice> &posters) {
        if (!self || generation != self->m_generation)
            return;
        self->m_choices = posters;
        for (const PosterChoice &poster : posters) {
            auto *entry = new QListWidgetItem(QIcon(QPixmap::fromImage(poster.thumbnail.decode(QSize(92, 138)))), QString());
            entry->setToolTip(poster.posterPath);
            self->m_posters->addItem(entry);
        }
        if (posters.isEmpty()) {
            self->m_status->setText(tr("TMDb has no other poster for this movie in the search language. You can drop a "
                                       "JPEG or PNG file on the editor's poster instead."));
        } else {
            self->m_posters->setCurrentRow(0);
            self->m_ok->setEnabled(true);
            self->m_status->setText(tr("Return or a double-click takes the selected poster."));
        }
        Q_EMIT self->resultsShown();
    });
}

void PosterChooser::accept()
{
    const int row = m_posters->currentRow();
    if (row < 0 || row >= m_choices.size())
        return;
    setEnabled(false);
    m_status->setText(tr("Downloading the poster\u2026"));
    QPointer<PosterChooser> self(this);
    TMDB::getHighResPosterWithPosterPath(m_choices.at(row).posterPath, [self](const ItemImage &poster) {
        if (!self)
            return;
        self->setEnabled(true);
        self->QDialog::accept();
        Q_EMIT self->posterChosen(poster);
    });
}

void PosterChooser::reject()
{
    if (!isEnabled())
        return;
    ++m_generation;
    QDialog::reject();
}
