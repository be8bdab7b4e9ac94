#include "ui/ProgressSheet.h"

#include "base/Progress.h"

#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QShortcut>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <cmath>

ProgressSheet::ProgressSheet(Progress *progress, QWidget *parent)
    : QDialog(parent)
    , m_progress(progress)
    , m_title(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_count(new QLabel(this))
    , m_quit(new QShortcut(this))
{
    setObjectName(QStringLiteral("progressWindow"));
    setWindowTitle(tr("Working"));
    setWindowModality(Qt::WindowModal);
    m_title->setObjectName(QStringLiteral("progressTitle"));
    m_title->setWordWrap(true);
    m_bar->setObjectName(QStringLiteral("progressBar"));
    m_bar->setRange(0, 100);
    m_bar->setMinimumWidth(420); // the dialog itself takes its minimum size from its layout
    m_count->setObjectName(QStringLiteral("progressCount"));
    auto *buttons = new QDialogButtonBox(this);
    m_cancel = buttons->addButton(QDialogButtonBox::Cancel);
    m_cancel->setObjectName(QStringLiteral("progressCancelBTN"));
    m_cancel->setToolTip(tr("Stop after the current step; what is done stays done, nothing is left half-written"));
    auto *layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetMinimumSize);
    layout->addWidget(m_title);
    layout->addWidget(m_bar);
    layout->addWidget(m_count);
    layout->addWidget(buttons);
    connect(m_cancel, &QPushButton::clicked, this, [this] {
        m_cancel->setEnabled(false);
        m_cancel->setText(tr("Cancelling\u2026"));
        Q_EMIT cancelRequested();
    });

    connect(m_quit, &QShortcut::activated, this, &ProgressSheet::quitRequested);
    connect(progress, &Progress::began, this, &ProgressSheet::begin);
    connect(progress, &Progress::titleChanged, m_title, &QLabel::setText);
    connect(progress, &Progress::valueChanged, this, [this](double value) {
        m_bar->setValue(int(value));
        updateCount();
    });
    connect(progress, &Progress::ended, this, &ProgressSheet::end);
}

void ProgressSheet::begin(bool cancellable)
{
    m_running = true;
    m_total = 0;
    m_current = 0;
    m_clock.start();
    m_cancel->setVisible(cancellable);
    m_cancel->setEnabled(true);
    m_cancel->setText(tr("Cancel"));
    m_title->setText(m_progress->title());
    m_bar->setValue(int(m_progress->value()));
    updateCount();
    open();
    // The Cancel button may have come or gone since the last time.
    layout()->activate();
    resize(width(), sizeHint().height());
}

void ProgressSheet::end()
{
    m_running = false;
    accept();
}

void ProgressSheet::setTotal(int total)
{
    m_total = total;
    updateCount();
}

void ProgressSheet::setCurrent(int current)
{
    m_current = qMin(current, m_total);
    updateCount();
}

QString ProgressSheet::timeLeftText(double fractionDone, qint64 elapsedMs)
{
    if (elapsedMs < 2000 || fractionDone < 0.02 || fractionDone >= 1.0)
        return {};
    const double seconds = double(elapsedMs) / 1000.0 * (1.0 - fractionDone) / fractionDone;
    if (seconds < 10)
        return tr("a few seconds left");
    if (seconds < 60)
        return tr("about %1 seconds left").arg(int(std::ceil(seconds / 10.0) * 10));
    if (seconds < 90)
        return tr("about a minute left");
    if (seconds < 3600)
        return tr("about %1 minutes left").arg(int(std::lround(seconds / 60.0)));
    return tr("about %1 h %2 min left").arg(int(seconds / 3600)).arg(int(std::lround(std::fmod(seconds, 3600) / 60.0)));
}

void ProgressSheet::updateCount()
{
    QStringList parts;
    if (m_total > 0)
        parts.append(tr("%1 of %2").arg(qMax(m_current, 1)).arg(m_total));
    const QString left = timeLeftText(m_bar->value() / 100.0, m_clock.isValid() ? m_clock.elapsed() : 0);
    if (!left.isEmpty())
        parts.append(left);
    m_count->setText(parts.join(QStringLiteral(" \u00b7 ")));
}

void ProgressSheet::reject()
{
    // Escape: the work goes on, and so does the sheet.
    if (!m_running)
        QDialog::reject();
}

void ProgressSheet::closeEvent(QCloseEvent *event)
{
    if (m_running)
        event->ignore();
    else
        QDialog::closeEvent(event);
}

void ProgressSheet::setQuitKeys(const QKeySequence &keys)
{
    m_quit->setKey(keys);
}
