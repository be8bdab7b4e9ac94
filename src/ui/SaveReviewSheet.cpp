#include "ui/SaveReviewSheet.h"

#include "ui/Icons.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum Column { MovieColumn, ActionColumn, SavedAsColumn, SourceColumn, NoteColumn, ColumnCount };

QString actionText(const PlannedItem &planned)
{
    if (planned.skipped)
        return SaveReviewSheet::tr("skip");
    if (!planned.runs())
        return SaveReviewSheet::tr("cannot be saved");
    switch (planned.action) {
    case CreationAction::TagInPlace: return SaveReviewSheet::tr("tag in place");
    case CreationAction::TagAndMove: return SaveReviewSheet::tr("tag and move");
    case CreationAction::Convert: return SaveReviewSheet::tr("convert");
    }
    return {};
}

QString noteText(const PlannedItem &planned)
{
    QStringList notes;
    if (!planned.problemText.isEmpty())
        notes.append(planned.renamed() ? SaveReviewSheet::tr("renamed: %1").arg(planned.problemText) : planned.problemText);
    if (planned.needsReview && planned.matchConfidence)
        notes.append(SaveReviewSheet::tr("needs review (match %1)").arg(*planned.matchConfidence, 0, 'f', 2));
    notes.append(planned.conversion.notes);
    return notes.join(QStringLiteral("; "));
}

/** A line under a movie's row, across the whole width: where it comes from, a stream, a tag. */
void detail(QTreeWidgetItem *parent, const QString &what, const QString &text)
{
    auto *child = new QTreeWidgetItem(parent);
    child->setText(MovieColumn, what + QStringLiteral(": ") + text);
    child->setToolTip(MovieColumn, text);
    child->setFirstColumnSpanned(true);
}

} // namespace

SaveReviewSheet::SaveReviewSheet(QWidget *parent)
    : QDialog(parent)
    , m_summary(new QLabel(this))
    , m_warning(new QLabel(this))
    , m_list(new QTreeWidget(this))
{
    setObjectName(QStringLiteral("saveReviewWindow"));
    setWindowTitle(tr("Review the Save"));
    setWindowModality(Qt::WindowModal);
    m_summary->setObjectName(QStringLiteral("saveSummaryTF"));
    m_summary->setWordWrap(true);
    m_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont bold = m_summary->font();
    bold.setBold(true);
    m_summary->setFont(bold);
    m_warning->setObjectName(QStringLiteral("saveReviewWarning"));
    m_warning->setWordWrap(true);

    m_list->setObjectName(QStringLiteral("savePlanList"));
    m_list->setColumnCount(ColumnCount);
    m_list->setHeaderLabels({tr("Movie"), tr("Action"), tr("Saved as"), tr("The source"), tr("Notes")});
    m_list->setRootIsDecorated(true);
    m_list->setUniformRowHeights(true);
    m_list->setAlternatingRowColors(true);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->header()->setStretchLastSection(true);
    m_list->setMinimumSize(860, 260);

    auto *buttons = new QDialogButtonBox(this);
    QPushButton *cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelSaveReviewBTN"));
    cancel->setToolTip(tr("Go back to the list; nothing is written (Esc)"));
    m_leaveOut = buttons->addButton(tr("Leave Out Those to Review"), QDialogButtonBox::ActionRole);
    m_leaveOut->setObjectName(QStringLiteral("leaveOutReviewBTN"));
    m_leaveOut->setAutoDefault(false);
    m_save = buttons->addButton(tr("Save"), QDialogButtonBox::AcceptRole);
    m_save->setObjectName(QStringLiteral("confirmSaveBTN"));
    m_save->setIcon(Icons::named(QStringLiteral("document-save")));
    m_save->setDefault(true);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_leaveOut, &QPushButton::clicked, this, &SaveReviewSheet::leaveOutReviewRequested);
    connect(m_save, &QPushButton::clicked, this, [this] {
        accept();
        Q_EMIT confirmed(m_plan);
    });

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_summary);
    layout->addWidget(m_warning);
    layout->addWidget(m_list, 1);
    layout->addWidget(buttons);
}

void SaveReviewSheet::showPlan(const SavePlan &plan)
{
    m_plan = plan;
    fill();
    if (!isVisible())
        open();
    m_save->setFocus();
}

QString SaveReviewSheet::summary() const
{
    return m_summary->text();
}

void SaveReviewSheet::fill()
{
    m_summary->setText(m_plan.summary());
    const int review = m_plan.countNeedsReview();
    m_warning->setVisible(review > 0);
    m_warning->setText(review == 1 ? tr("One movie's match needs review: check its title and year before its file is "
                                        "renamed and tagged, or leave it out of this Save.")
                                   : tr("%1 movies' matches need review: check their titles and years before their "
                                        "files are renamed and tagged, or leave them out of this Save.")
                                         .arg(review));
    m_leaveOut->setVisible(review > 0);
    const int saving = int(m_plan.entries.size()) - m_plan.countNotSaved();
    m_save->setEnabled(saving > 0);
    m_save->setText(saving == 1 ? tr("Save 1 Movie") : tr("Save %1 Movies").arg(saving));

    m_list->clear();
    const QIcon warning = Icons::named(QStringLiteral("dialog-warning"));
    const QIcon refused = Icons::named(QStringLiteral("dialog-error"), QStringLiteral("dialog-warning"));
    for (qsizetype i = 0; i < m_plan.entries.size(); ++i) {
        const PlannedItem &planned = m_plan.entries.at(i);
        auto *row = new QTreeWidgetItem(m_list);
        // The year with the title: what a person checks a match by.
        const QString year = m_plan.items.value(i).value(ItemKey::movieReleaseYear).toString();
        const QString name = planned.movieTitle.isEmpty() ? QFileInfo(planned.source).fileName()
                             : year.isEmpty()             ? planned.movieTitle
                                                          : QStringLiteral("%1 (%2)").arg(planned.movieTitle, year);
        row->setText(MovieColumn, name);
        row->setToolTip(MovieColumn, planned.source);
        row->setText(ActionColumn, actionText(planned));
        row->setText(SavedAsColumn, planned.runs() ? QFileInfo(planned.finalPath).fileName() : QString());
        row->setToolTip(SavedAsColumn, planned.finalPath);
        row->setText(SourceColumn, SavePlanText::fateText(planned.sourceFate));
        row->setText(NoteColumn, noteText(planned));
        const QStringList reasons = m_plan.items.value(i).value(ItemKey::matchReasons).toStringList();
        row->setToolTip(NoteColumn, reasons.isEmpty() ? noteText(planned)
                                                      : noteText(planned) + QStringLiteral("\n\u2022 ")
                                                            + reasons.join(QStringLiteral("\n\u2022 ")));
        if (!planned.runs())
            row->setIcon(MovieColumn, refused);
        else if (planned.needsReview)
            row->setIcon(MovieColumn, warning);
        if (!planned.runs())
            continue;
        detail(row, tr("from"), planned.source);
        for (const PlannedStream &stream : planned.conversion.streams)
            detail(row, tr("stream"), SavePlanText::streamText(stream));
        for (const PlannedTag &tag : planned.tags)
            detail(row, tr("tag"), SavePlanText::tagText(tag, 100));
    }
    for (int column = 0; column < NoteColumn; ++column)
        m_list->resizeColumnToContents(column);
    m_list->setColumnWidth(MovieColumn, qMin(m_list->columnWidth(MovieColumn), 260));
}
