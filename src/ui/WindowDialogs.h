#pragma once

#include "creation/SavePlan.h"
#include "creation/SaveUndo.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>

class QWidget;

/**
 * The small questions the main window asks: which movies to open, which
 * folder to save into (both remember the last folder), and whether to stop
 * a running Save to quit. Each is window-modal and answers through its
 * function only when the person confirms; the selection of a file chooser
 * is read when it is accepted, so Qt's own chooser and a desktop's work
 * alike.
 */
namespace WindowDialogs {

/** The chooser's filter: the video files Kinovela reads, then every file. */
QStringList videoNameFilters();

void chooseMovies(QWidget *parent, std::function<void(const QList<QUrl> &files)> chosen);
void chooseDestination(QWidget *parent, std::function<void(const QString &folder)> chosen);
/** "Stop and Quit" calls @p stop; "Keep Saving" (the default, and Escape) does nothing. */
void askToStopSave(QWidget *parent, std::function<void()> stop);
/**
 * Names the movies whose file name is taken and offers to save them as
 * "Title (2).mp4" (the default), to skip them, or to cancel the Save
 * (Escape); @p chosen is called with the policy unless the Save is cancelled.
 */
void askAboutClashes(QWidget *parent, const QStringList &problems, std::function<void(ClashPolicy)> chosen);
/**
 * Says that an import would need more subtitle downloads than the service
 * allows today (@p warning) before any is spent; "Import Anyway" (the
 * default) calls @p proceed, Cancel (Escape) imports nothing.
 */
void askAboutSubtitleAllowance(QWidget *parent, const QString &warning, std::function<void()> proceed);

/**
 * Names the Save that Undo Last Save takes back (@p lastSave) and what it
 * does; "Undo Save" (the default) calls @p undo, Cancel (Escape) does nothing.
 */
void askToUndoSave(QWidget *parent, const QString &lastSave, std::function<void()> undo);
/** What an undo did and, above all, what it left as it is and why. */
void showUndoReport(QWidget *parent, const UndoReport &report);

} // namespace WindowDialogs
