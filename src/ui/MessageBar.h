#pragma once

#include <QFrame>

class QLabel;
class QPushButton;

/**
 * A bar above the list for what a person must know and act on: a service
 * that can't be reached or refuses the key, a program that is missing,
 * files that were not added. It stays until closed; "Show Log" opens the
 * log with the details.
 */
class MessageBar : public QFrame
{
    Q_OBJECT
public:
    enum class Level { Information, Warning, Error };

    explicit MessageBar(QWidget *parent = nullptr);

    /** Shows @p text; a message that is already shown is not repeated. */
    void showMessage(const QString &text, Level level = Level::Warning);
    /** The messages shown now, oldest first. */
    QStringList messages() const { return m_messages; }
    void dismiss();

Q_SIGNALS:
    void showLogRequested();

private:
    QLabel *m_icon;
    QLabel *m_text;
    QStringList m_messages;
};
