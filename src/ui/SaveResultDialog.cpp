#include "ui/SaveResultDialog.h"

#include "ui/Icons.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QUrl>
#include <QVBoxLayout>

namespace {

bool isCancelled(const CreationResult &result)
{
    return !result.succeeded() && result.status.errorKind() == ErrorKind::Cancelled;
}

QString nameOf(const CreationResult &result)
{
    return result.movieTitle.isEmpty() ? QFileInfo(result.source).fileName() : result.movieTitle;
}

} // namespace

bool SaveResultDialog::wasCancelled(const QList<CreationResult> &results)
{
    return std::any_of(results.begin(), results.end(), isCancelled);
}

QString SaveResultDialog::summaryOf(const QList<CreationResult> &results, const QString &destination)
{
    if (results.isEmpty())
        return tr("Nothing was saved: the list is empty.");
    int saved = 0;
    int failed = 0;
    int cancelled = 0;
    int inPlace = 0;
    for (const CreationResult &result : results) {
        if (result.succeeded()) {
            ++saved;
            inPlace += result.action == QLatin1String("tag") ? 1 : 0;
        } else if (isCancelled(result)) {
            ++cancelled;
        } else {
            ++failed;
        }
    }
    QStringList parts;
    if (saved > 0) {
        if (inPlace == saved)
            parts.append(tr("%1 tagged where they are").arg(saved));
        else
            parts.append(tr("%1 saved to %2").arg(saved).arg(destination));
    } else {
        parts.append(tr("Nothing was saved"));
    }
    if (failed > 0)
        parts.append(failed == 1 ? tr("1 needs attention") : tr("%1 need attention").arg(failed));
    if (cancelled > 0)
        parts.append(tr("%1 not done (cancelled)").arg(cancelled));
    return parts.join(QStringLiteral(", "));
}

QStringList SaveResultDialog::detailsOf(const QList<CreationResult> &results)
{
    QStringList lines;
    for (const CreationResult &result : results) {
        if (result.succeeded() && result.action == QLatin1String("tag"))
            lines.append(tr("\u2713 %1: tagged in place (%2)").arg(nameOf(result), result.outputPath));
        else if (result.succeeded() && result.action == QLatin1String("convert") && !result.sourceFate.isEmpty())
            lines.append(tr("\u2713 %1: saved as %2; the source was %3").arg(nameOf(result), result.outputPath, result.sourceFate));
        else if (result.succeeded())
            lines.append(tr("\u2713 %1: saved as %2").arg(nameOf(result), result.outputPath));
        else if (isCancelled(result))
            lines.append(tr("\u2013 %1: not done, the Save was cancelled; the source is kept").arg(nameOf(result)));
        else
            lines.append(QFileInfo::exists(result.source)
                             ? tr("\u2717 %1: %2; its source is kept as it was").arg(nameOf(result), result.reason())
                             : tr("\u2717 %1: %2").arg(nameOf(result), result.reason()));
        if (result.succeeded() && !result.verdict.isEmpty())
            lines.last() += QStringLiteral("; ") + (QStringList{result.verdict} + result.notes).join(QStringLiteral("; "));
    }
    return lines;
}

SaveResultDialog::SaveResultDialog(const QList<CreationResult> &results, const QString &destination, QWidget *parent)
    : QDialog(parent)
    , m_summary(new QLabel(summaryOf(results, destination), this))
    , m_details(new QPlainTextEdit(this))
{
    setObjectName(QStringLiteral("creationAlert"));
    setWindowModality(Qt::WindowModal);
    setAttribute(Qt::WA_DeleteOnClose);
    const bool failures = std::any_of(results.begin(), results.end(),
                                      [](const CreationResult &r) { return !r.succeeded() && !isCancelled(r); });
    setWindowTitle(results.isEmpty() ? tr("Nothing Saved")
                   : failures        ? tr("Save Finished with Problems")
                   : wasCancelled(results) ? tr("Save Cancelled")
                                           : tr("Save Finished"));
    auto *icon = new QLabel(this);
    const QString iconName = failures ? QStringLiteral("dialog-warning") : QStringLiteral("dialog-information");
    icon->setPixmap(Icons::named(iconName).pixmap(style()->pixelMetric(QStyle::PM_MessageBoxIconSize)));
    m_summary->setObjectName(QStringLiteral("creationSummary"));
    m_summary->setWordWrap(true);
    QFont bold = m_summary->font();
    bold.setBold(true);
    m_summary->setFont(bold);
    m_details->setObjectName(QStringLiteral("creationDetails"));
    m_details->setReadOnly(true);
    m_details->setMinimumWidth(600);
    m_details->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_details->setPlainText(detailsOf(results).join(QLatin1Char('\n')));
    m_details->setVisible(!results.isEmpty());
    // Tall enough for a few lines, never taller than a dozen: the rest scrolls.
    const int line = m_details->fontMetrics().lineSpacing();
    m_details->setFixedHeight(qBound(line * 4, line * int(results.size() * 2 + 1), line * 12) + 8);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    buttons->button(QDialogButtonBox::Ok)->setObjectName(QStringLiteral("creationAlertOkBTN"));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    const bool anySaved = std::any_of(results.begin(), results.end(), [](const CreationResult &r) { return r.succeeded(); });
    if (anySaved && !destination.isEmpty()) {
        QPushButton *show = buttons->addButton(tr("Show in Folder"), QDialogButtonBox::ActionRole);
        show->setObjectName(QStringLiteral("showInFolderBTN"));
        show->setIcon(Icons::named(QStringLiteral("folder-open")));
        show->setAutoDefault(false);
        connect(show, &QPushButton::clicked, this,
                [destination] { QDesktopServices::openUrl(QUrl::fromLocalFile(destination)); });
    }
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);

    auto *top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addWidget(m_summary, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_details);
    if (anySaved) {
        auto *undo = new QLabel(tr("Edit \u25b8 Undo Last Save takes this Save back."), this);
        undo->setObjectName(QStringLiteral("creationUndoHint"));
        layout->addWidget(undo);
    }
    layout->addWidget(buttons);
}

QString SaveResultDialog::summary() const
{
    return m_summary->text();
}

QString SaveResultDialog::details() const
{
    return m_details->toPlainText();
}
