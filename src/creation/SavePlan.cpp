#include "creation/SavePlan.h"

#include "creation/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStorageInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace SavePlan {

namespace {

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" MB");
}

bool existsOnDisk(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0;
}

/** Asks the file system itself whether it takes the name: creates the file and removes it again. */
QString refusal(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return errno == EEXIST ? QString() : QString::fromLocal8Bit(std::strerror(errno));
    ::close(fd);
    ::unlink(name.constData());
    return {};
}

/** Bytes the item adds to the destination: a conversion about its source, a move across disks the source. */
qint64 bytesNeeded(const MovieItem &item, CreationAction action, const QString &destination)
{
    const QString source = item.value(ItemKey::filePath).toString();
    if (action == CreationAction::TagInPlace)
        return 0;
    if (action == CreationAction::TagAndMove && QStorageInfo(source).device() == QStorageInfo(destination).device())
        return 0;
    return QFileInfo(source).size();
}

struct Names
{
    QSet<QString> used;
    bool caseBlind = false;

    QString key(const QString &path) const { return caseBlind ? path.toCaseFolded() : path; }
    bool taken(const QString &path, const QString &source) const
    {
        return used.contains(key(path)) || (existsOnDisk(path) && path != source);
    }
};

void checkName(PlannedItem &planned, const MovieItem &item, Names &names, ClashPolicy policy)
{
    const QString source = item.value(ItemKey::filePath).toString();
    const QString wanted = planned.finalPath;
    if (names.taken(wanted, source)) {
        const bool byItem = names.used.contains(names.key(wanted));
        planned.problem = byItem ? SaveProblem::NameClash : SaveProblem::NameTaken;
        planned.problemText = byItem ? QStringLiteral("another movie of this Save is also named \"%1\"")
                                     : QStringLiteral("a file named \"%1\" already exists");
        planned.problemText = planned.problemText.arg(QFileInfo(wanted).fileName());
        if (policy == ClashPolicy::Skip)
            planned.skipped = true;
        if (policy == ClashPolicy::Rename) {
            const QFileInfo info(wanted);
            for (int n = 2; names.taken(planned.finalPath, source); ++n)
                planned.finalPath = info.path() + QLatin1Char('/') + FileNames::numbered(info.fileName(), n);
        }
    }
    if (!planned.skipped && (policy == ClashPolicy::Rename || planned.problem == SaveProblem::None)) {
        if (planned.finalPath != source) {
            if (const QString refused = refusal(planned.finalPath); !refused.isEmpty()) {
                planned.problem = SaveProblem::NameRefused;
                planned.problemText = QStringLiteral("the destination refuses the name \"%1\" (%2)")
                                          .arg(QFileInfo(planned.finalPath).fileName(), refused);
            }
        }
    }
    names.used.insert(names.key(planned.finalPath));
}

} // namespace

QList<PlannedItem> check(const QList<MovieItem> &items, const QString &destination, Preset preset, ClashPolicy policy)
{
    const QFileInfo folder(destination);
    const bool usable = folder.isDir() && folder.isWritable();
    Names names;
    names.caseBlind = FileNames::rulesFor(destination) == FileNames::NameRules::Windows;
    qint64 free = QStorageInfo(destination).bytesAvailable();
    QList<PlannedItem> plan;
    for (const MovieItem &item : items) {
        PlannedItem planned;
        planned.action = ConverterArguments::creationActionForItem(item, preset);
        if (planned.action == CreationAction::TagInPlace) {
            planned.finalPath = item.value(ItemKey::filePath).toString();
            plan.append(planned);
            continue;
        }
        planned.finalPath = ConverterArguments::finalMoviePath(item, destination);
        if (!usable) {
            planned.problem = SaveProblem::NoDestination;
            planned.problemText = QStringLiteral("the destination is not a folder Kinovela can write to: ") + destination;
            plan.append(planned);
            continue;
        }
        checkName(planned, item, names, policy);
        const qint64 needed = bytesNeeded(item, planned.action, destination);
        if (!planned.skipped && planned.problemText.isEmpty() && free >= 0 && needed > free) {
            planned.problem = SaveProblem::NoRoom;
            planned.problemText = QStringLiteral("not enough room on the destination (%1 needed, %2 free)")
                                      .arg(megabytes(needed), megabytes(free));
        } else if (!planned.skipped && free >= 0) {
            free -= needed;
        }
        plan.append(planned);
    }
    return plan;
}

} // namespace SavePlan
