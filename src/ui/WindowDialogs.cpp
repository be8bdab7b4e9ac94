#include "ui/WindowDialogs.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>

namespace WindowDialogs {
namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("WindowDialogs", text);
}

QFileDialog *chooser(QWidget *parent, const char *objectName, const QString &title, const QString &folderKey)
{
    auto *dialog = new QFileDialog(parent, title);
    dialog->setObjectName(QString::fromLatin1(objectName));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    // The last folder, else the desktop's videos folder, else the home folder.
    QString fallback = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (!QDir(fallback).exists())
        fallback = QDir::homePath();
    dialog->setDirectory(QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).value(folderKey, fallback).toString());
    return dialog;
}

/** A window-modal question that deletes itself when answered; the caller adds the buttons and opens it. */
QMessageBox *question(QWidget *parent, const char *objectName, const QString &title, const QString &text, const QString &informative,
                      QMessageBox::Icon icon = QMessageBox::Question)
{
    auto *box = new QMessageBox(icon, title, text, QMessageBox::NoButton, parent);
    box->setObjectName(QString::fromLatin1(objectName));
    box->setInformativeText(informative);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    return box;
}

QPushButton *button(QMessageBox *box, const QString &text, QMessageBox::ButtonRole role, const char *objectName)
{
    QPushButton *added = box->addButton(text, role);
    added->setObjectName(QString::fromLatin1(objectName));
    return added;
}

QPushButton *cancelButton(QMessageBox *box, const char *objectName)
{
    QPushButton *cancel = box->addButton(QMessageBox::Cancel);
    cancel->setObjectName(QString::fromLatin1(objectName));
    box->setEscapeButton(cancel);
    return cancel;
}

/** A question whose default button does @p action and whose Cancel (Escape) does nothing. */
void confirm(QMessageBox *box, const QString &actionText, const char *actionName, const char *cancelName,
             std::function<void()> action)
{
    QPushButton *go = button(box, actionText, QMessageBox::AcceptRole, actionName);
    cancelButton(box, cancelName);
    box->setDefaultButton(go);
    QObject::connect(go, &QPushButton::clicked, box, [action] { action(); });
    box->open();
}

void remember(const QString &folderKey, const QString &folder)
{
    QSettings(QStringLiteral("Kinovela"), QStringLiteral("Kinovela")).setValue(folderKey, folder);
}

} // namespace

QStringList videoNameFilters()
{
    return {tr("Video files (*.mkv *.mp4 *.m4v *.avi *.mov *.wmv *.mpg *.mpeg *.m2ts *.mts *.ts *.webm *.flv *.ogv "
               "*.3gp *.divx *.vob)"),
            tr("All files (*)")};
}

void chooseMovies(QWidget *parent, std::function<void(const QList<QUrl> &files)> chosen)
{
    const QString key = QStringLiteral("window/openFolder");
    QFileDialog *dialog = chooser(parent, "openPanel", tr("Open Movies"), key);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setNameFilters(videoNameFilters());
    dialog->setLabelText(QFileDialog::Accept, tr("Open"));
    QObject::connect(dialog, &QDialog::accepted, dialog, [dialog, key, chosen] {
        remember(key, dialog->directory().absolutePath());
        chosen(dialog->selectedUrls());
    });
    dialog->open();
}

void chooseDestination(QWidget *parent, std::function<void(const QString &folder)> chosen)
{
    const QString key = QStringLiteral("window/saveFolder");
    QFileDialog *dialog = chooser(parent, "savePanel", tr("Choose the Destination Folder"), key);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly, true);
    dialog->setLabelText(QFileDialog::Accept, tr("Save Here"));
    QObject::connect(dialog, &QDialog::accepted, dialog, [dialog, key, chosen] {
        const QString folder = dialog->selectedFiles().value(0);
        remember(key, folder);
        chosen(folder);
    });
    dialog->open();
}

void askToStopSave(QWidget *parent, std::function<void()> stop)
{
    QMessageBox *box = question(parent, "quitQuestion", tr("Stop Saving?"), tr("A Save is still running. Stop it and quit?"),
                                tr("The movie being written now is removed unfinished and its original is kept; the "
                                   "movies already saved stay saved."));
    box->setWindowModality(Qt::ApplicationModal);
    QPushButton *stopButton = button(box, tr("Stop and Quit"), QMessageBox::DestructiveRole, "stopAndQuitBTN");
    QPushButton *keep = button(box, tr("Keep Saving"), QMessageBox::RejectRole, "keepSavingBTN");
    box->setDefaultButton(keep);
    box->setEscapeButton(keep);
    QObject::connect(stopButton, &QPushButton::clicked, box, [stop] { stop(); });
    box->open();
}

void askAboutClashes(QWidget *parent, const QStringList &problems, std::function<void(ClashPolicy)> chosen)
{
    QMessageBox *box = question(parent, "clashQuestion", tr("Names Already Taken"),
                                problems.size() == 1 ? tr("One movie would take a name that is already taken.")
                                                     : tr("%1 movies would take names that are already taken.").arg(problems.size()),
                                tr("Nothing has been written yet. No file is ever replaced."));
    box->setDetailedText(problems.join(QLatin1Char('\n')));
    QPushButton *rename = button(box, tr("Save as \u201cTitle (2)\u201d"), QMessageBox::AcceptRole, "renameClashesBTN");
    QPushButton *skip = button(box, tr("Skip Them"), QMessageBox::DestructiveRole, "skipClashesBTN");
    cancelButton(box, "cancelSaveBTN");
    box->setDefaultButton(rename);
    QObject::connect(rename, &QPushButton::clicked, box, [chosen] { chosen(ClashPolicy::Rename); });
    QObject::connect(skip, &QPushButton::clicked, box, [chosen] { chosen(ClashPolicy::Skip); });
    box->open();
}

void askAboutSubtitleAllowance(QWidget *parent, const QString &warning, std::function<void()> proceed)
{
    QMessageBox *box = question(parent, "subtitleAllowanceQuestion", tr("Not Enough Subtitle Downloads"),
                                tr("Not every movie can get a subtitle today."),
                                warning + QLatin1Char(' ')
                                    + tr("Movies past the limit are imported without a subtitle; Choose Subtitle can add "
                                         "one later."));
    confirm(box, tr("Import Anyway"), "importAnywayBTN", "cancelImportBTN", std::move(proceed));
}

void askToUndoSave(QWidget *parent, const QString &lastSave, std::function<void()> undo)
{
    QMessageBox *box = question(parent, "undoSaveQuestion", tr("Undo the Last Save?"), tr("Undo the Save of %1?").arg(lastSave),
                                tr("Its originals come back from the Trash to their folders, movies it moved go back, "
                                   "tags it wrote into movies in place are put back as they were, and the files it "
                                   "made are removed. A file changed since the Save is kept, and nothing is ever "
                                   "replaced."));
    confirm(box, tr("Undo Save"), "confirmUndoSaveBTN", "cancelUndoSaveBTN", std::move(undo));
}

void showUndoReport(QWidget *parent, const UndoReport &report)
{
    const bool complete = report.complete();
    QMessageBox *alert = question(parent, "undoSaveAlert",
                                  report.status.errorKind() == ErrorKind::Missing ? tr("Nothing to Undo")
                                  : !report.status                                 ? tr("Cannot Undo the Save")
                                  : complete                                       ? tr("Save Undone")
                                                                                   : tr("Save Partly Undone"),
                                  report.summary(),
                                  !complete && report.status ? tr("What was left as it is, and why, is listed in the details.") : QString(),
                                  complete ? QMessageBox::Information : QMessageBox::Warning);
    alert->setDefaultButton(alert->addButton(QMessageBox::Ok));
    QStringList lines;
    for (const UndoneMovie &movie : report.movies) {
        const QString name = movie.movieTitle.isEmpty() ? QFileInfo(movie.source).fileName() : movie.movieTitle;
        for (const QString &left : movie.left)
            lines.append(QStringLiteral("\u2717 %1: %2").arg(name, left));
        for (const QString &undone : movie.undone)
            lines.append(QStringLiteral("\u2713 %1: %2").arg(name, undone));
    }
    alert->setDetailedText(lines.join(QLatin1Char('\n')));
    alert->open();
}

} // namespace WindowDialogs
