#pragma once

#include "creation/CreationBatch.h"

#include <QDialog>

class QLabel;
class QPlainTextEdit;

/**
 * The end of a Save ("creationAlert"): one short summary ("4 saved to
 * /dest, 1 needs attention"), the details in a scrolling box that never
 * makes the alert taller than the screen, and Show in Folder. A cancelled
 * Save says so without calling it a failure; a Save of nothing never
 * reports success.
 */
class SaveResultDialog : public QDialog
{
    Q_OBJECT
public:
    SaveResultDialog(const QList<CreationResult> &results, const QString &destination, QWidget *parent);

    /** The summary line for these results. */
    static QString summaryOf(const QList<CreationResult> &results, const QString &destination);
    /** One line per movie: what became of it. */
    static QStringList detailsOf(const QList<CreationResult> &results);
    static bool wasCancelled(const QList<CreationResult> &results);

    QString summary() const;
    QString details() const;

private:
    QLabel *m_summary;
    QPlainTextEdit *m_details;
};
