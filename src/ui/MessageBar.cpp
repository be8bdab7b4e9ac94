#include "ui/MessageBar.h"

#include "ui/Icons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

MessageBar::MessageBar(QWidget *parent)
    : QFrame(parent)
    , m_icon(new QLabel(this))
    , m_text(new QLabel(this))
{
    setObjectName(QStringLiteral("messageBar"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    m_text->setObjectName(QStringLiteral("messageText"));
    m_text->setWordWrap(true);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *log = new QPushButton(tr("Show Log"), this);
    log->setObjectName(QStringLiteral("messageShowLogBTN"));
    auto *close = new QToolButton(this);
    close->setObjectName(QStringLiteral("messageCloseBTN"));
    close->setIcon(Icons::named(QStringLiteral("window-close")));
    close->setText(tr("Close"));
    close->setToolTip(tr("Close this message"));
    close->setAutoRaise(true);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 4, 4);
    layout->addWidget(m_icon, 0, Qt::AlignTop);
    layout->addWidget(m_text, 1);
    layout->addWidget(log, 0, Qt::AlignTop);
    layout->addWidget(close, 0, Qt::AlignTop);
    connect(log, &QPushButton::clicked, this, &MessageBar::showLogRequested);
    connect(close, &QToolButton::clicked, this, &MessageBar::dismiss);
    hide();
}

void MessageBar::showMessage(const QString &text, Level level)
{
    if (m_messages.contains(text))
        return;
    m_messages.append(text);
    // The newest three messages; older ones are in the log.
    while (m_messages.size() > 3)
        m_messages.removeFirst();
    m_text->setText(m_messages.join(QLatin1Char('\n')));
    const char *icon = level == Level::Error ? "dialog-error"
                     : level == Level::Warning ? "dialog-warning" : "dialog-information";
    const int size = style()->pixelMetric(QStyle::PM_SmallIconSize);
    m_icon->setPixmap(Icons::named(QString::fromLatin1(icon)).pixmap(size, size));
    QPalette colors = palette();
    colors.setColor(QPalette::Window, level == Level::Information ? QColor(0xdd, 0xea, 0xf7) : QColor(0xfc, 0xe9, 0xc4));
    colors.setColor(QPalette::WindowText, Qt::black);
    setPalette(colors);
    show();
}

void MessageBar::dismiss()
{
    m_messages.clear();
    m_text->clear();
    hide();
}
