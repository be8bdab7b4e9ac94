#include "ui/MovieSearchSheet.h"

#include "app/AppCore.h"
#include "app/MovieLookup.h"
#include "base/ItemImage.h"
#include "ui/Icons.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

MovieSearchSheet::MovieSearchSheet(AppCore *core, QWidget *parent)
    : QDialog(parent)
    , m_core(core)
    , m_searchField(new QLineEdit(this))
    , m_searchButton(new QPushButton(tr("Search"), this))
    , m_results(new QTableWidget(0, 3, this))
    , m_status(new QLabel(this))
{
    setObjectName(QStringLiteral("moiveSearchWindow"));
    setWindowTitle(tr("Find Movie"));
    setWindowModality(Qt::WindowModal);
    resize(620, 460);

    m_searchField->setObjectName(QStringLiteral("searchStringTF"));
    m_searchField->setPlaceholderText(tr("Title of the movie, for example Alien 1979"));
    m_searchField->setClearButtonEnabled(true);
    m_searchField->installEventFilter(this);
    m_searchButton->setObjectName(QStringLiteral("searchBTN_InsideSearchWindow"));
    m_searchButton->setIcon(Icons::named(QStringLiteral("edit-find")));
    m_searchButton->setAutoDefault(false);
    m_searchButton->setToolTip(tr("Search TMDb for this text (Return)"));

    m_results->setObjectName(QStringLiteral("searchArrayController"));
    m_results->setHorizontalHeaderLabels({tr("Poster"), tr("Title"), tr("Released")});
    m_results->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_results->setSelectionMode(QAbstractItemView::SingleSelection);
    m_results->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_results->setIconSize(QSize(40, 60));
    m_results->verticalHeader()->setDefaultSectionSize(64);
    m_results->verticalHeader()->hide();
    m_results->horizontalHeader()->setStretchLastSection(true);
    m_results->setColumnWidth(0, 56);
    m_results->setColumnWidth(1, 340);
    m_results->setToolTip(tr("Double-click or press Return to choose a movie"));
    m_status->setObjectName(QStringLiteral("searchStatus"));
    m_status->setWordWrap(true);

    auto *buttons = new QDialogButtonBox(this);
    m_choose = buttons->addButton(tr("Choose"), QDialogButtonBox::AcceptRole);
    m_choose->setObjectName(QStringLiteral("okBTN_InsideSearchWindow"));
    m_choose->setDefault(true);
    QPushButton *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelBTN_InsideSearchWindow"));

    auto *row = new QHBoxLayout;
    row->addWidget(m_searchField, 1);
    row->addWidget(m_searchButton);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(row);
    layout->addWidget(m_results, 1);
    layout->addWidget(m_status);
    layout->addWidget(buttons);

    connect(m_searchButton, &QPushButton::clicked, this, &MovieSearchSheet::search);
    connect(buttons, &QDialogButtonBox::accepted, this, &MovieSearchSheet::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &MovieSearchSheet::reject);
    connect(m_results, &QTableWidget::cellDoubleClicked, this, &MovieSearchSheet::accept);
    connect(m_results, &QTableWidget::itemSelectionChanged, this,
            [this] { m_choose->setEnabled(m_results->currentRow() >= 0 && !m_candidates.isEmpty()); });
}

void MovieSearchSheet::openFor(const MovieItem &item)
{
    m_item = item;
    setWindowTitle(tr("Find Movie for %1").arg(item.value(ItemKey::fileName).toString()));
    m_searchField->setText(item.value(ItemKey::searchString).toString());
    setEnabled(true);
    open();
    m_searchField->setFocus();
    m_searchField->selectAll();
    search();
}

void MovieSearchSheet::setBusy(bool busy, const QString &status)
{
    m_status->setText(status);
    m_choose->setEnabled(!busy && m_results->currentRow() >= 0 && !m_candidates.isEmpty());
}

void MovieSearchSheet::search()
{
    const QString text = m_searchField->text().trimmed();
    m_candidates.clear();
    m_results->setRowCount(0);
    m_searchedText = text;
    const quint64 generation = ++m_generation;
    if (text.isEmpty()) {
        setBusy(false, tr("Type the title of the movie to search for."));
        return;
    }
    setBusy(true, tr("Searching TMDb for \u201c%1\u201d\u2026").arg(text));
    QPointer<MovieSearchSheet> self(this);
    MovieLookup::findCandidates(text, this, [self, generation](const Outcome<QList<MovieItem>> &answer) {
        if (!self || generation != self->m_generation)
            return;
        self->showResults(answer ? *answer : QList<MovieItem>(), answer ? QString() : answer.errorText());
    });
}

void MovieSearchSheet::showResults(const QList<MovieItem> &records, const QString &failure)
{
    m_candidates = records;
    m_results->setRowCount(int(records.size()));
    for (int row = 0; row < records.size(); ++row) {
        const MovieItem &record = records.at(row);
        auto *poster = new QTableWidgetItem;
        const QVariant image = record.value(ItemKey::moviePoster);
        if (image.canConvert<ItemImage>())
            poster->setIcon(QIcon(QPixmap::fromImage(image.value<ItemImage>().decode(QSize(40, 60)))));
        m_results->setItem(row, 0, poster);
        m_results->setItem(row, 1, new QTableWidgetItem(record.value(ItemKey::movieTitle).toString()));
        m_results->setItem(row, 2, new QTableWidgetItem(record.value(ItemKey::movieReleaseDate_BEAUTIFIED).toString()));
    }
    if (!records.isEmpty())
        m_results->selectRow(0);
    QString status;
    if (!failure.isEmpty())
        status = tr("TMDb could not be asked: %1").arg(failure);
    else if (records.isEmpty())
        status = tr("No movie found for \u201c%1\u201d. Check the spelling, or try the original title or fewer words.")
                     .arg(m_searchedText);
    else
        status = (records.size() == 1 ? tr("1 movie found.") : tr("%1 movies found.").arg(records.size()))
            + QLatin1Char(' ') + tr("Return or a double-click chooses the selected one.");
    setBusy(false, status);
    Q_EMIT resultsShown();
}

bool MovieSearchSheet::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_searchField && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            // A new text is searched; the same text again chooses what was found for it.
            if (m_searchField->text().trimmed() != m_searchedText || m_candidates.isEmpty())
                search();
            else
                accept();
            return true;
        }
        if ((key->key() == Qt::Key_Down || key->key() == Qt::Key_Up) && m_results->rowCount() > 0) {
            const int row = qBound(0, m_results->currentRow() + (key->key() == Qt::Key_Down ? 1 : -1), m_results->rowCount() - 1);
            m_results->selectRow(row);
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void MovieSearchSheet::accept()
{
    const int row = m_results->currentRow();
    if (row < 0 || row >= m_candidates.size()) {
        if (m_searchField->text().trimmed() != m_searchedText)
            search();
        return;
    }
    setEnabled(false);
    const MovieItem candidate = m_candidates.at(row);
    m_status->setText(tr("Getting the details of %1\u2026").arg(candidate.value(ItemKey::movieTitle).toString()));
    const MovieItem before = m_item;
    QPointer<MovieSearchSheet> self(this);
    MovieLookup::applyCandidate(before, candidate, m_core->conversionOption(), this, [self, before](const MovieItem &after) {
        if (!self)
            return;
        self->setEnabled(true);
        self->QDialog::accept();
        Q_EMIT self->chosen(before, after);
    });
}

void MovieSearchSheet::reject()
{
    if (!isEnabled())
        return; // applying a choice; it ends on its own
    ++m_generation;
    QDialog::reject();
}
