#pragma once

#include "creation/SavePlan.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTreeWidget;

/**
 * The Save as planned, before anything is touched ("saveReviewWindow"): a
 * summary ("4 movies → /dest · 3 converted, 1 moved · originals to the Trash
 * · 1 needs review") and one row per movie with its action, its new name and
 * what happens to its source; a row opens to the streams kept and left out
 * and the tags. Save carries out exactly this plan; Cancel (Escape) touches
 * nothing; movies whose match needs review can be left out first.
 */
class SaveReviewSheet : public QDialog
{
    Q_OBJECT
public:
    explicit SaveReviewSheet(QWidget *parent);

    /** Shows @p plan (opening the sheet when it is not open). */
    void showPlan(const SavePlan &plan);
    const SavePlan &plan() const { return m_plan; }
    QString summary() const;

Q_SIGNALS:
    /** The person confirmed: carry out this plan. */
    void confirmed(const SavePlan &plan);
    /** The person wants the movies that need review left out: plan again without them. */
    void leaveOutReviewRequested();

private:
    void fill();

    SavePlan m_plan;
    QLabel *m_summary;
    QLabel *m_warning;
    QTreeWidget *m_list;
    QPushButton *m_save;
    QPushButton *m_leaveOut;
};
