#include "ui/SubtitleSheet.h"

#include "app/MovieLookup.h"
#include "subtitles/SubtitleQuota.h"
#include "ui/MovieTable.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

SubtitleSheet::SubtitleSheet(QWidget *parent)
    : QDialog(parent)
    , m_results(new QTableWidget(0, 3, this))
    , m_status(new QLabel(this))
    , m_allowance(new QLabel(this))
{
    setObjectName(QStringLiteral("subtitleSearchWindow"));
    setWindowTitle(tr("Choose Subtitle"));
    setWindowModality(Qt::WindowModal);
    resize(680, 400);
    m_results->setObjectName(QStringLiteral("subtitleSearchArrayController"));
    m_results->setHorizontalHeaderLabels({tr("File"), tr("Uploader"), tr("Ends at")});
    m_results->horizontalHeaderItem(2)->setToolTip(
        tr("When the subtitle's last line shows: one that ends close to the movie's length fits best"));
    m_results->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_results->setSelectionMode(QAbstractItemView::SingleSelection);
    m_results->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_results->verticalHeader()->hide();
    m_results->setWordWrap(false);
    m_results->setColumnWidth(0, 380);
    m_results->setColumnWidth(1, 140);
    m_results->horizontalHeader()->setStretchLastSection(true);
    m_status->setObjectName(QStringLiteral("subtitleStatus"));
    m_status->setWordWrap(true);
    m_allowance->setObjectName(QStringLiteral("subtitleAllowance"));
    m_allowance->setWordWrap(true);

    auto *buttons = new QDialogButtonBox(this);
    m_download = buttons->addButton(tr("Download"), QDialogButtonBox::AcceptRole);
    m_download->setObjectName(QStringLiteral("downloadBTN_Inside_SubtitleSearchWindow"));
    m_download->setDefault(true);
    QPushButton *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelBTN_Inside_SubtitleSearchWindow"));
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_results, 1);
    layout->addWidget(m_status);
    layout->addWidget(m_allowance);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &SubtitleSheet::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &SubtitleSheet::reject);
    connect(m_results, &QTableWidget::cellDoubleClicked, this, &SubtitleSheet::accept);
}

void SubtitleSheet::openFor(const MovieItem &item)
{
    m_item = item;
    m_candidates.clear();
    m_results->setRowCount(0);
    m_download->setEnabled(false);
    setEnabled(true);
    const QString title = item.value(ItemKey::movieTitle).toString();
    setWindowTitle(tr("Choose Subtitle for %1").arg(title.isEmpty() ? item.value(ItemKey::fileName).toString() : title));
    m_status->setText(tr("Searching OpenSubtitles\u2026"));
    m_allowance->setText(SubtitleQuota::statusLine());
    open();
    m_results->setFocus();
    const quint64 generation = ++m_generation;
    QPointer<SubtitleSheet> self(this);
    MovieLookup::getSubtitleList(item, this, [self, generation](const QList<SubtitleCandidate> &candidates) {
        if (self && generation == self->m_generation)
            self->showResults(candidates);
    });
}

void SubtitleSheet::showResults(const QList<SubtitleCandidate> &candidates)
{
    m_candidates = candidates;
    m_results->setRowCount(int(candidates.size()));
    for (int row = 0; row < candidates.size(); ++row) {
        const SubtitleCandidate &candidate = candidates.at(row);
        m_results->setItem(row, 0, new QTableWidgetItem(candidate.fileName));
        m_results->item(row, 0)->setToolTip(candidate.fileName);
        m_results->setItem(row, 1, new QTableWidgetItem(candidate.uploaderName));
        m_results->setItem(row, 2, new QTableWidgetItem(candidate.approximateTime));
    }
    const QString length = MovieSortModel::durationText(m_item.value(ItemKey::duration).toDouble());
    if (candidates.isEmpty()) {
        m_status->setText(tr("OpenSubtitles offers no subtitle for this movie%1. If it could not be reached, Help \u25b8 "
                             "Show Log says why.")
                              .arg(m_item.value(ItemKey::imdbID).toString().isEmpty()
                                       ? tr(" (it is not identified: use Find Movie first)")
                                       : QString()));
    } else {
        m_results->selectRow(0);
        m_download->setEnabled(true);
        m_status->setText(tr("The movie runs %1. Return or a double-click downloads the selected subtitle.").arg(length));
    }
    Q_EMIT resultsShown();
}

void SubtitleSheet::accept()
{
    const int row = m_results->currentRow();
    if (row < 0 || row >= m_candidates.size())
        return;
    setEnabled(false);
    m_status->setText(tr("Downloading %1\u2026").arg(m_candidates.at(row).fileName));
    const MovieItem before = m_item;
    QPointer<SubtitleSheet> self(this);
    MovieLookup::applySubtitle(before, m_candidates.at(row), this, [self, before](const Outcome<MovieItem> &after) {
        if (!self)
            return;
        self->setEnabled(true);
        self->m_allowance->setText(SubtitleQuota::statusLine());
        if (!after) {
            const std::optional<SubtitleQuota> quota = SubtitleQuota::current();
            self->m_status->setText(quota && quota->exhausted()
                                        ? tr("%1: no subtitle can be downloaded before then.").arg(after.errorText())
                                        : tr("%1. Choose another, or see Help \u25b8 Show Log.").arg(after.errorText()));
            return;
        }
        self->QDialog::accept();
        Q_EMIT self->chosen(before, *after);
    });
}

void SubtitleSheet::reject()
{
    if (!isEnabled())
        return;
    ++m_generation;
    QDialog::reject();
}
