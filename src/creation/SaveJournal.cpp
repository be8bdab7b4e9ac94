#include "creation/SaveJournal.h"

#include "creation/FileMove.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <QLockFile>
#include <QStandardPaths>

#include <cstdio>

namespace {

const QString JournalFile = QStringLiteral("journal.json");
const QString LockFile = QStringLiteral("lock");
// Each journal keeps copies of movie headers (a few MB each): only the last few Saves can be undone.
constexpr int KeptJournals = 10;

struct Names
{
    JournalStep::Kind kind;
    const char *name;
};
constexpr Names KindNames[] = {
    {JournalStep::Kind::Unfinished, "unfinished"}, {JournalStep::Kind::Tagged, "tagged"},
    {JournalStep::Kind::Moved, "moved"},           {JournalStep::Kind::Created, "created"},
    {JournalStep::Kind::Trashed, "trashed"},       {JournalStep::Kind::Deleted, "deleted"},
};
const char *const StateNames[] = {"pending", "done", "undone", "left", "undoing"};
const char *const JournalStates[] = {"running", "finished", "undone"};

QString kindName(JournalStep::Kind kind)
{
    for (const Names &names : KindNames) {
        if (names.kind == kind)
            return QString::fromLatin1(names.name);
    }
    return {};
}

std::optional<JournalStep::Kind> kindNamed(const QString &name)
{
    for (const Names &names : KindNames) {
        if (name == QLatin1String(names.name))
            return names.kind;
    }
    return std::nullopt;
}

template<typename Enum, size_t N>
std::optional<Enum> named(const char *const (&names)[N], const QString &name)
{
    for (size_t i = 0; i < N; ++i) {
        if (name == QLatin1String(names[i]))
            return Enum(i);
    }
    return std::nullopt;
}

QJsonObject stepJson(const JournalStep &step)
{
    QJsonObject object{{QStringLiteral("kind"), kindName(step.kind)},
                       {QStringLiteral("state"), QString::fromLatin1(StateNames[int(step.state)])},
                       {QStringLiteral("path"), step.path}};
    if (!step.to.isEmpty())
        object.insert(QStringLiteral("to"), step.to);
    if (!step.snapshot.isEmpty())
        object.insert(QStringLiteral("snapshot"), step.snapshot);
    if (!step.after.isEmpty())
        object.insert(QStringLiteral("after"), step.after);
    if (!step.note.isEmpty())
        object.insert(QStringLiteral("note"), step.note);
    return object;
}

std::optional<JournalStep> stepFrom(const QJsonObject &object)
{
    const auto kind = kindNamed(object.value(QStringLiteral("kind")).toString());
    const auto state = named<JournalStep::State>(StateNames, object.value(QStringLiteral("state")).toString());
    if (!kind || !state)
        return std::nullopt;
    JournalStep step;
    step.kind = *kind;
    step.state = *state;
    step.path = object.value(QStringLiteral("path")).toString();
    step.to = object.value(QStringLiteral("to")).toString();
    step.snapshot = object.value(QStringLiteral("snapshot")).toString();
    step.after = object.value(QStringLiteral("after")).toObject();
    step.note = object.value(QStringLiteral("note")).toString();
    // A snapshot is a plain name inside the journal's folder.
    if (step.snapshot.contains(QLatin1Char('/')) || step.snapshot.startsWith(QLatin1Char('.')))
        return std::nullopt;
    return step;
}

/** Writes @p bytes to @p path whole or not at all, flushed to the disk before it takes the name. */
Status writeDurably(const QString &path, const QByteArray &bytes)
{
    const QString scratch = path + QStringLiteral(".new");
    QFile file(scratch);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size() || !file.flush()
        || !FileMove::syncHandle(file.handle())) {
        const QString why = file.errorString();
        file.close();
        QFile::remove(scratch);
        return failure(file.error() == QFileDevice::ResourceError ? ErrorKind::NoSpace : ErrorKind::Io,
                       QStringLiteral("the Save's journal could not be written (%1)").arg(why));
    }
    file.close();
    if (std::rename(QFile::encodeName(scratch).constData(), QFile::encodeName(path).constData()) != 0) {
        QFile::remove(scratch);
        return failure(ErrorKind::Io, QStringLiteral("the Save's journal could not be written: ") + path);
    }
    return FileMove::syncFolder(QFileInfo(path).path());
}

} // namespace

QString SaveJournal::folder()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    return data.isEmpty() ? QString() : data + QStringLiteral("/saves");
}

SaveJournal SaveJournal::start(const SavePlan &plan)
{
    SaveJournal journal;
    journal.m_started = QDateTime::currentDateTimeUtc();
    journal.m_destination = plan.settings.destination;
    const QString saves = folder();
    if (!saves.isEmpty())
        journal.m_folder = saves + QLatin1Char('/') + journal.m_started.toString(QStringLiteral("yyyyMMdd-HHmmss-zzz"))
            + QLatin1Char('-') + QString::number(QCoreApplication::applicationPid());
    return journal;
}

Outcome<SaveJournal> SaveJournal::last()
{
    const QString saves = folder();
    const QStringList names = saves.isEmpty() ? QStringList()
                                              : QDir(saves).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::Reversed);
    for (const QString &name : names) {
        const Outcome<SaveJournal> journal = read(saves + QLatin1Char('/') + name);
        // A journal that cannot be read (an older version, a folder left half-made) is passed over.
        if (journal && journal->hasChanges())
            return journal;
        if (journal && journal->state() == State::Undone)
            return failure(ErrorKind::Missing, QStringLiteral("the last Save (%1) was undone already")
                                                   .arg(QLocale().toString(journal->started().toLocalTime(), QLocale::ShortFormat)));
    }
    return failure(ErrorKind::Missing, QStringLiteral("no Save has been made yet"));
}

Outcome<SaveJournal> SaveJournal::read(const QString &journalFolder)
{
    QFile file(journalFolder + QLatin1Char('/') + JournalFile);
    if (!file.open(QIODevice::ReadOnly))
        return failure(ErrorKind::Missing, QStringLiteral("no journal in ") + journalFolder);
    const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
    const auto state = named<State>(JournalStates, root.value(QStringLiteral("state")).toString());
    if (root.value(QStringLiteral("version")).toInt() != 1 || !state)
        return failure(ErrorKind::Invalid, QStringLiteral("the journal in %1 cannot be read").arg(journalFolder));
    SaveJournal journal;
    journal.m_folder = journalFolder;
    journal.m_state = *state;
    journal.m_started = QDateTime::fromString(root.value(QStringLiteral("started")).toString(), Qt::ISODateWithMs);
    journal.m_destination = root.value(QStringLiteral("destination")).toString();
    for (const QJsonValue &value : root.value(QStringLiteral("entries")).toArray()) {
        const QJsonObject object = value.toObject();
        JournalEntry entry{object.value(QStringLiteral("source")).toString(), object.value(QStringLiteral("movieTitle")).toString(),
                           object.value(QStringLiteral("action")).toString(), {}};
        for (const QJsonValue &step : object.value(QStringLiteral("steps")).toArray()) {
            const std::optional<JournalStep> read = stepFrom(step.toObject());
            if (!read)
                return failure(ErrorKind::Invalid, QStringLiteral("the journal in %1 cannot be read").arg(journalFolder));
            entry.steps.append(*read);
        }
        journal.m_entries.append(entry);
    }
    return journal;
}

int SaveJournal::addEntry(const PlannedItem &planned)
{
    m_entries.append({planned.source, planned.movieTitle, ConverterArguments::actionName(planned.action), {}});
    return int(m_entries.size() - 1);
}

Outcome<int> SaveJournal::record(int entry, const JournalStep &step)
{
    if (!enabled())
        return failure(ErrorKind::Missing, QStringLiteral("there is no data folder to keep the Save's journal in"));
    JournalStep pending = step;
    pending.state = JournalStep::State::Pending;
    m_entries[entry].steps.append(pending);
    if (Status written = write(); !written) {
        m_entries[entry].steps.removeLast();
        return written.error();
    }
    return int(m_entries[entry].steps.size() - 1);
}

Status SaveJournal::markDone(int entry, int step, const std::function<void(JournalStep &)> &update)
{
    JournalStep &recorded = m_entries[entry].steps[step];
    recorded.state = JournalStep::State::Done;
    if (update)
        update(recorded);
    return write();
}

Status SaveJournal::drop(int entry, int step)
{
    m_entries[entry].steps.removeAt(step);
    return write();
}

Status SaveJournal::setState(int entry, int step, JournalStep::State state, const QString &note)
{
    JournalStep &recorded = m_entries[entry].steps[step];
    recorded.state = state;
    recorded.note = note;
    return write();
}

Status SaveJournal::finish(State state)
{
    m_state = state;
    if (!enabled() || !QFileInfo::exists(m_folder))
        return {};
    // A Save that changed nothing leaves nothing to undo, and no journal.
    if (state == State::Finished && !hasChanges()) {
        m_lock.reset();
        QDir(m_folder).removeRecursively();
        return {};
    }
    const Status written = write();
    m_lock.reset();
    return written;
}

Status SaveJournal::lock()
{
    if (m_lock)
        return {};
    auto lock = std::make_shared<QLockFile>(m_folder + QLatin1Char('/') + LockFile);
    // Only a process that is gone leaves a lock to take over, however long ago it was taken.
    lock->setStaleLockTime(0);
    if (!lock->tryLock(0)) {
        qint64 pid = 0;
        QString host;
        QString application;
        lock->getLockInfo(&pid, &host, &application);
        return failure(ErrorKind::Failed, QStringLiteral("the Save of %1 is still running (process %2); undo it when it has ended")
                                              .arg(QLocale().toString(m_started.toLocalTime(), QLocale::ShortFormat))
                                              .arg(pid));
    }
    m_lock = std::move(lock);
    return {};
}

Outcome<QString> SaveJournal::keep(const QString &name, const QByteArray &bytes)
{
    if (!enabled())
        return failure(ErrorKind::Missing, QStringLiteral("there is no data folder to keep the Save's journal in"));
    if (Status made = ensureFolder(); !made)
        return made.error();
    if (Status written = writeDurably(m_folder + QLatin1Char('/') + name, bytes); !written)
        return written.error();
    return name;
}

Outcome<QByteArray> SaveJournal::kept(const QString &name) const
{
    QFile file(m_folder + QLatin1Char('/') + name);
    if (!file.open(QIODevice::ReadOnly))
        return failure(ErrorKind::Missing, QStringLiteral("the journal no longer holds ") + name);
    return file.readAll();
}

bool SaveJournal::hasChanges() const
{
    for (const JournalEntry &entry : m_entries) {
        for (const JournalStep &step : entry.steps) {
            const bool open = step.state == JournalStep::State::Pending || step.state == JournalStep::State::Done
                || step.state == JournalStep::State::Undoing;
            // The converter's unfinished file that the Save itself took care of is no change.
            if (open && !(step.kind == JournalStep::Kind::Unfinished && step.state == JournalStep::State::Done))
                return true;
        }
    }
    return false;
}

Status SaveJournal::ensureFolder()
{
    if (QFileInfo(m_folder).isDir())
        return {};
    if (!QDir().mkpath(m_folder))
        return failure(ErrorKind::Io, QStringLiteral("the folder for the Save's journal could not be made: ") + m_folder);
    if (Status locked = lock(); !locked)
        return locked;
    // The oldest journals go: only the last few Saves can be undone.
    const QDir saves(QFileInfo(m_folder).path());
    const QStringList names = saves.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::Reversed);
    for (qsizetype i = KeptJournals; i < names.size(); ++i)
        QDir(saves.filePath(names.at(i))).removeRecursively();
    return {};
}

Status SaveJournal::write()
{
    if (Status made = ensureFolder(); !made)
        return made;
    return writeDurably(m_folder + QLatin1Char('/') + JournalFile, QJsonDocument(toJson()).toJson());
}

QJsonObject SaveJournal::toJson() const
{
    QJsonArray entries;
    for (const JournalEntry &entry : m_entries) {
        QJsonArray steps;
        for (const JournalStep &step : entry.steps)
            steps.append(stepJson(step));
        entries.append(QJsonObject{{QStringLiteral("source"), entry.source},
                                   {QStringLiteral("movieTitle"), entry.movieTitle},
                                   {QStringLiteral("action"), entry.action},
                                   {QStringLiteral("steps"), steps}});
    }
    return {{QStringLiteral("version"), 1},
            {QStringLiteral("started"), m_started.toString(Qt::ISODateWithMs)},
            {QStringLiteral("destination"), m_destination},
            {QStringLiteral("state"), QString::fromLatin1(JournalStates[int(m_state)])},
            {QStringLiteral("entries"), entries}};
}
