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
    auto *question = new QMessageBox(QMessageBox::Question, tr("Stop Saving?"), tr("A Save is still running. Stop it and quit?"),
                                     QMessageBox::NoButton, parent);
    question->setObjectName(QStringLiteral("quitQuestion"));
    question->setInformativeText(tr("The movie being written now is removed unfinished and its original is kept; the "
                                    "movies already saved stay saved."));
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setWindowModality(Qt::ApplicationModal);
    QPushButton *stopButton = question->addButton(tr("Stop and Quit"), QMessageBox::DestructiveRole);
    stopButton->setObjectName(QStringLiteral("stopAndQuitBTN"));
    QPushButton *keep = question->addButton(tr("Keep Saving"), QMessageBox::RejectRole);
    keep->setObjectName(QStringLiteral("keepSavingBTN"));
    question->setDefaultButton(keep);
    question->setEscapeButton(keep);
    QObject::connect(stopButton, &QPushButton::clicked, question, [stop] { stop(); });
    question->open();
}

void askAboutClashes(QWidget *parent, const QStringList &problems, std::function<void(ClashPolicy)> chosen)
{
    auto *question = new QMessageBox(QMessageBox::Question, tr("Names Already Taken"),
                                     problems.size() == 1 ? tr("One movie would take a name that is already taken.")
                                                          : tr("%1 movies would take names that are already taken.").arg(problems.size()),
                                     QMessageBox::NoButton, parent);
    question->setObjectName(QStringLiteral("clashQuestion"));
    question->setInformativeText(tr("Nothing has been written yet. No file is ever replaced."));
    question->setDetailedText(problems.join(QLatin1Char('\n')));
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setWindowModality(Qt::WindowModal);
    QPushButton *rename = question->addButton(tr("Save as \u201cTitle (2)\u201d"), QMessageBox::AcceptRole);
    rename->setObjectName(QStringLiteral("renameClashesBTN"));
    QPushButton *skip = question->addButton(tr("Skip Them"), QMessageBox::DestructiveRole);
    skip->setObjectName(QStringLiteral("skipClashesBTN"));
    QPushButton *cancel = question->addButton(QMessageBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelSaveBTN"));
    question->setDefaultButton(rename);
    question->setEscapeButton(cancel);
    QObject::connect(rename, &QPushButton::clicked, question, [chosen] { chosen(ClashPolicy::Rename); });
    QObject::connect(skip, &QPushButton::clicked, question, [chosen] { chosen(ClashPolicy::Skip); });
    question->open();
}

void askAboutSubtitleAllowance(QWidget *parent, const QString &warning, std::function<void()> proceed)
{
    auto *question = new QMessageBox(QMessageBox::Question, tr("Not Enough Subtitle Downloads"),
                                     tr("Not every movie can get a subtitle today."), QMessageBox::NoButton, parent);
    question->setObjectName(QStringLiteral("subtitleAllowanceQuestion"));
    question->setInformativeText(warning + QLatin1Char(' ')
                                 + tr("Movies past the limit are imported without a subtitle; Choose Subtitle can add "
                                      "one later."));
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setWindowModality(Qt::WindowModal);
    QPushButton *import = question->addButton(tr("Import Anyway"), QMessageBox::AcceptRole);
    import->setObjectName(QStringLiteral("importAnywayBTN"));
    QPushButton *cancel = question->addButton(QMessageBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelImportBTN"));
    question->setDefaultButton(import);
    question->setEscapeButton(cancel);
    QObject::connect(import, &QPushButton::clicked, question, [proceed] { proceed(); });
    question->open();
}

void askToUndoSave(QWidget *parent, const QString &lastSave, std::function<void()> undo)
{
    auto *question = new QMessageBox(QMessageBox::Question, tr("Undo the Last Save?"),
                                     tr("Undo the Save of %1?").arg(lastSave), QMessageBox::NoButton, parent);
    question->setObjectName(QStringLiteral("undoSaveQuestion"));
    question->setInformativeText(tr("Its originals come back from the Trash to their folders, movies it moved go back, "
                                    "tags it wrote into movies in place are put back as they were, and the files it "
                                    "made are removed. A file changed since the Save is kept, and nothing is ever "
                                    "replaced."));
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setWindowModality(Qt::WindowModal);
    QPushButton *undoButton = question->addButton(tr("Undo Save"), QMessageBox::AcceptRole);
    undoButton->setObjectName(QStringLiteral("confirmUndoSaveBTN"));
    QPushButton *cancel = question->addButton(QMessageBox::Cancel);
    cancel->setObjectName(QStringLiteral("cancelUndoSaveBTN"));
    question->setDefaultButton(undoButton);
    question->setEscapeButton(cancel);
    QObject::connect(undoButton, &QPushButton::clicked, question, [undo] { undo(); });
    question->open();
}

void showUndoReport(QWidget *parent, const UndoReport &report)
{
    const bool complete = report.complete();
    auto *alert = new QMessageBox(complete ? QMessageBox::Information : QMessageBox::Warning,
                                  !report.status ? tr("Nothing to Undo") : complete ? tr("Save Undone") : tr("Save Partly Undone"),
                                  report.summary(), QMessageBox::Ok, parent);
    alert->setObjectName(QStringLiteral("undoSaveAlert"));
    QStringList lines;
    for (const UndoneMovie &movie : report.movies) {
        const QString name = movie.movieTitle.isEmpty() ? QFileInfo(movie.source).fileName() : movie.movieTitle;
        for (const QString &left : movie.left)
            lines.append(QStringLiteral("\u2717 %1: %2").arg(name, left));
        for (const QString &undone : movie.undone)
            lines.append(QStringLiteral("\u2713 %1: %2").arg(name, undone));
    }
    if (!complete && report.status)
        alert->setInformativeText(tr("What was left as it is, and why, is listed in the details."));
    alert->setDetailedText(lines.join(QLatin1Char('\n')));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowModality(Qt::WindowModal);
    alert->open();
}

} // namespace WindowDialogs
