#include "ui/LogWindow.h"

#include "base/Diagnostics.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>

LogWindow::LogWindow(QWidget *parent)
    : QDialog(parent)
    , m_text(new QPlainTextEdit(this))
{
    setObjectName(QStringLiteral("logWindow"));
    setWindowTitle(tr("Kinovela Log"));
    m_text->setObjectName(QStringLiteral("logText"));
    m_text->setReadOnly(true);
    m_text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_text->setPlaceholderText(tr("Nothing has been logged in this session."));
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton *copy = buttons->addButton(tr("Copy All"), QDialogButtonBox::ActionRole);
    copy->setAutoDefault(false);
    connect(copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(m_lines.join(QLatin1Char('\n'))); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_text);
    layout->addWidget(buttons);
    resize(760, 420);

    QPointer<LogWindow> self(this);
    m_listener = Diagnostics::addListener([self](const QString &line) {
        if (QThread::currentThread() == qApp->thread()) {
            if (self)
                self->append(line);
            return;
        }
        QMetaObject::invokeMethod(qApp, [self, line] {
            if (self)
                self->append(line);
        }, Qt::QueuedConnection);
    });
}

LogWindow::~LogWindow()
{
    Diagnostics::removeListener(m_listener);
}

void LogWindow::append(const QString &line)
{
    m_lines.append(line);
    m_text->appendPlainText(line);
    Q_EMIT lineAdded(line);
}
