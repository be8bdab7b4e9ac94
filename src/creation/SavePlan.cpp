#include "creation/SavePlan.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QStorageInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1) + QStringLiteral(" MB");
}

QString nameKey(const QString &fileName, FileNames::NameRules rules)
{
    return rules == FileNames::NameRules::Windows ? fileName.toCaseFolded() : fileName;
}

/** The names this Save has given so far, beside the destination's own. */
struct Names
{
    const SaveFacts &facts;
    QSet<QString> used;

    QString key(const QString &fileName) const { return nameKey(fileName, facts.rules); }
    bool usedByItem(const QString &fileName) const { return used.contains(key(fileName)); }
    bool taken(const QString &fileName) const { return usedByItem(fileName) || facts.nameTaken(fileName); }
    void take(const QString &fileName) { used.insert(key(fileName)); }
};

/** A name for the converter's output that says what it is and is the same every time the same Save is planned. */
QString temporaryPathFor(const PlannedItem &planned, Names &names)
{
    for (int n = 0;; ++n) {
        const QByteArray seed = (planned.source + QLatin1Char('\n') + planned.finalPath + QLatin1Char('\n') + QString::number(n)).toUtf8();
        const QString token = QString::fromLatin1(QCryptographicHash::hash(seed, QCryptographicHash::Sha256).toHex().left(8).toUpper());
        const QString path = ConverterArguments::temporaryMoviePath(planned.finalPath, token);
        const QString name = QFileInfo(path).fileName();
        if (!names.taken(name)) {
            names.take(name);
            return path;
        }
    }
}

void checkName(PlannedItem &planned, const SaveFacts &facts, Names &names, ClashPolicy policy)
{
    const QString folder = QFileInfo(planned.finalPath).path();
    const QString wanted = QFileInfo(planned.finalPath).fileName();
    if (names.taken(wanted) && planned.finalPath != planned.source) {
        const bool byItem = names.usedByItem(wanted);
        planned.problem = byItem ? SaveProblem::NameClash : SaveProblem::NameTaken;
        planned.problemText = (byItem ? QStringLiteral("another movie of this Save is also named \"%1\"")
                                      : QStringLiteral("a file named \"%1\" already exists"))
                                  .arg(wanted);
        if (policy == ClashPolicy::Skip)
            planned.skipped = true;
        if (policy == ClashPolicy::Rename) {
            QString name = wanted;
            for (int n = 2; names.taken(name); ++n)
                name = FileNames::numbered(wanted, n);
            planned.finalPath = folder + QLatin1Char('/') + name;
            planned.problem = SaveProblem::None;
        }
    }
    const QString name = QFileInfo(planned.finalPath).fileName();
    if (planned.runs()) {
        QString refused = facts.refusedNames.value(name);
        if (refused.isEmpty() && name.toUtf8().size() > facts.nameMaxBytes)
            refused = QStringLiteral("longer than the %1 bytes it allows").arg(facts.nameMaxBytes);
        if (!refused.isEmpty()) {
            planned.problem = SaveProblem::NameRefused;
            planned.problemText = QStringLiteral("the destination refuses the name \"%1\" (%2)").arg(name, refused);
        }
    }
    names.take(name);
}

/** Bytes the item adds to the destination: a conversion about its source, a move across disks the source. */
qint64 bytesNeeded(const PlannedItem &planned, const SaveFacts::Source &source)
{
    if (planned.action == CreationAction::Convert)
        return source.size;
    if (planned.action == CreationAction::TagAndMove && !source.onDestinationDisk)
        return source.size;
    return 0;
}

void fail(PlannedItem &planned, SaveProblem problem, const QString &text)
{
    planned.problem = problem;
    planned.problemText = text;
}

PlannedItem planItem(const MovieItem &item, const SaveSettings &settings, const SaveFacts &facts, Names &names,
                     qint64 &freeBytes)
{
    PlannedItem planned;
    planned.serialNumber = item.value(ItemKey::serialNumber).toLongLong();
    planned.source = item.value(ItemKey::filePath).toString();
    planned.movieTitle = item.value(ItemKey::movieTitle).toString();
    planned.needsReview = item.value(ItemKey::needsReview).toBool();
    if (item.contains(ItemKey::matchConfidence))
        planned.matchConfidence = item.value(ItemKey::matchConfidence).toDouble();
    const SaveFacts::Source source = facts.sources.value(planned.source);
    planned.action = ConverterArguments::creationActionForItem(item, settings.preset, source.exists);
    planned.tags = TagWriter::tagsFor(item);
    if (planned.action == CreationAction::TagInPlace)
        planned.finalPath = planned.source;
    else
        planned.finalPath = QDir(settings.destination).filePath(FileNames::movieFileName(item, facts.rules));

    if (const QString missing = ConverterArguments::missingKey(item); !missing.isEmpty())
        fail(planned, SaveProblem::Incomplete, QStringLiteral("the item has no \"%1\"").arg(missing));
    else if (!source.exists)
        fail(planned, SaveProblem::SourceMissing, QStringLiteral("the source file is missing: ") + planned.source);
    else if (settings.options.skipNeedsReview && planned.needsReview) {
        fail(planned, SaveProblem::NeedsReview, QStringLiteral("its match needs review"));
        planned.skipped = true;
    } else if (planned.action != CreationAction::TagInPlace && !facts.destinationUsable)
        fail(planned, SaveProblem::NoDestination,
             QStringLiteral("the destination is not a folder Kinovela can write to: ") + settings.destination);
    else if (planned.action != CreationAction::TagInPlace)
        checkName(planned, facts, names, settings.options.clashes);

    if (planned.runs()) {
        const qint64 needed = bytesNeeded(planned, source);
        if (freeBytes >= 0 && needed > freeBytes)
            fail(planned, SaveProblem::NoRoom, QStringLiteral("not enough room on the destination (%1 needed, %2 free)")
                                                   .arg(megabytes(needed), megabytes(freeBytes)));
        else if (freeBytes >= 0)
            freeBytes -= needed;
    }
    if (planned.action == CreationAction::Convert && planned.runs()) {
        planned.temporaryPath = temporaryPathFor(planned, names);
        planned.conversion = StreamPlan::forItem(item, settings.options.profile, planned.temporaryPath, settings.subtitleLanguage);
    }
    if (!planned.runs())
        planned.sourceFate = SourceFate::Kept;
    else if (planned.action == CreationAction::TagInPlace || planned.finalPath == planned.source)
        planned.sourceFate = SourceFate::TaggedInPlace;
    else if (planned.action == CreationAction::TagAndMove)
        planned.sourceFate = SourceFate::Moved;
    else
        planned.sourceFate = settings.options.deleteSources ? SourceFate::Deleted : SourceFate::ToTrash;
    return planned;
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

QString policyName(ClashPolicy policy)
{
    switch (policy) {
    case ClashPolicy::Fail: return QStringLiteral("fail");
    case ClashPolicy::Rename: return QStringLiteral("rename");
    case ClashPolicy::Skip: return QStringLiteral("skip");
    }
    return {};
}

QJsonValue tagValue(const PlannedTag &tag)
{
    switch (tag.type) {
    case PlannedTag::Type::Text: return tag.value.toString();
    case PlannedTag::Type::Byte:
    case PlannedTag::Type::Number: return double(tag.value.toLongLong());
    case PlannedTag::Type::Flag: return tag.value.toBool();
    case PlannedTag::Type::Jpeg:
    case PlannedTag::Type::Png:
        return QJsonObject{{QStringLiteral("format"), tag.type == PlannedTag::Type::Png ? QStringLiteral("png") : QStringLiteral("jpeg")},
                           {QStringLiteral("bytes"), double(tag.value.toByteArray().size())}};
    }
    return {};
}

QJsonObject streamJson(const PlannedStream &stream)
{
    QJsonObject object{{QStringLiteral("index"), stream.index},
                       {QStringLiteral("kind"), stream.kind},
                       {QStringLiteral("codec"), stream.codec},
                       {QStringLiteral("action"), stream.action},
                       {QStringLiteral("reason"), stream.reason}};
    if (!stream.language.isEmpty())
        object.insert(QStringLiteral("language"), stream.language);
    if (!stream.title.isEmpty())
        object.insert(QStringLiteral("title"), stream.title);
    if (stream.kept()) {
        object.insert(QStringLiteral("outputIndex"), stream.outputIndex);
        object.insert(QStringLiteral("outputCodec"), stream.outputCodec);
        object.insert(QStringLiteral("enabled"), stream.enabled);
        object.insert(QStringLiteral("forced"), stream.forced);
    }
    return object;
}

QString status(const PlannedItem &planned)
{
    if (planned.skipped)
        return QStringLiteral("skipped");
    if (!planned.runs())
        return QStringLiteral("fails");
    return planned.renamed() ? QStringLiteral("renamed") : QStringLiteral("ready");
}

QJsonObject itemJson(const PlannedItem &planned)
{
    QJsonObject object{{QStringLiteral("serialNumber"), double(planned.serialNumber)},
                       {QStringLiteral("source"), planned.source},
                       {QStringLiteral("movieTitle"), planned.movieTitle},
                       {QStringLiteral("action"), ConverterArguments::actionName(planned.action)},
                       {QStringLiteral("status"), status(planned)},
                       {QStringLiteral("finalPath"), planned.finalPath},
                       {QStringLiteral("sourceFate"), SavePlanText::fateName(planned.sourceFate)},
                       {QStringLiteral("needsReview"), planned.needsReview}};
    if (!planned.problemText.isEmpty())
        object.insert(QStringLiteral("reason"), planned.problemText);
    if (planned.matchConfidence)
        object.insert(QStringLiteral("matchConfidence"), *planned.matchConfidence);
    if (planned.action == CreationAction::Convert && planned.runs()) {
        object.insert(QStringLiteral("temporaryPath"), planned.temporaryPath);
        object.insert(QStringLiteral("arguments"), QJsonArray::fromStringList(planned.conversion.arguments));
        QJsonArray streams;
        for (const PlannedStream &stream : planned.conversion.streams)
            streams.append(streamJson(stream));
        object.insert(QStringLiteral("streams"), streams);
        object.insert(QStringLiteral("notes"), QJsonArray::fromStringList(planned.conversion.notes));
    }
    QJsonObject tags;
    for (const PlannedTag &tag : planned.tags)
        tags.insert(tag.name, tagValue(tag));
    object.insert(QStringLiteral("tags"), tags);
    return object;
}

} // namespace

bool SaveFacts::nameTaken(const QString &fileName) const
{
    return existingNames.contains(nameKey(fileName, rules));
}

SavePlan SavePlan::make(const QList<MovieItem> &items, const SaveSettings &settings, const SaveFacts &facts)
{
    SavePlan plan;
    plan.settings = settings;
    plan.items = items;
    Names names{facts, {}};
    qint64 freeBytes = facts.freeBytes;
    for (const MovieItem &item : items)
        plan.entries.append(planItem(item, settings, facts, names, freeBytes));
    return plan;
}

SaveFacts SavePlan::readFacts(const QList<MovieItem> &items, const SaveSettings &settings, bool askTheDisk)
{
    SaveFacts facts;
    const QString destination = settings.destination;
    const QFileInfo folder(destination);
    facts.destinationUsable = folder.isDir() && folder.isWritable();
    facts.rules = FileNames::rulesFor(destination);
    const QStorageInfo disk(destination);
    facts.freeBytes = facts.destinationUsable ? disk.bytesAvailable() : -1;
    if (facts.destinationUsable) {
        const long nameMax = ::pathconf(QFile::encodeName(destination).constData(), _PC_NAME_MAX);
        if (nameMax > 0)
            facts.nameMaxBytes = qMin<qint64>(nameMax, FileNames::MaxNameBytes);
        const QStringList entries = QDir(destination).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QString &entry : entries)
            facts.existingNames.insert(nameKey(entry, facts.rules));
    }
    for (const MovieItem &item : items) {
        const QString path = item.value(ItemKey::filePath).toString();
        const QFileInfo info(path);
        SaveFacts::Source source;
        source.exists = info.isFile();
        source.size = source.exists ? info.size() : 0;
        source.onDestinationDisk = source.exists && QStorageInfo(path).device() == disk.device();
        facts.sources.insert(path, source);
    }
    if (askTheDisk && facts.destinationUsable) {
        // Only the names this Save would write are asked about.
        for (const PlannedItem &planned : make(items, settings, facts).entries) {
            if (planned.runs() && planned.action != CreationAction::TagInPlace && !existsOnDisk(planned.finalPath)) {
                if (const QString refused = refusal(planned.finalPath); !refused.isEmpty())
                    facts.refusedNames.insert(QFileInfo(planned.finalPath).fileName(), refused);
            }
        }
    }
    return facts;
}

SavePlan SavePlan::check(const QList<MovieItem> &items, const SaveSettings &settings, bool askTheDisk)
{
    return make(items, settings, readFacts(items, settings, askTheDisk));
}

int SavePlan::count(CreationAction action) const
{
    return int(std::count_if(entries.cbegin(), entries.cend(),
                             [action](const PlannedItem &planned) { return planned.runs() && planned.action == action; }));
}

int SavePlan::countNeedsReview() const
{
    return int(std::count_if(entries.cbegin(), entries.cend(),
                             [](const PlannedItem &planned) { return planned.runs() && planned.needsReview; }));
}

int SavePlan::countNotSaved() const
{
    return int(std::count_if(entries.cbegin(), entries.cend(), [](const PlannedItem &planned) { return !planned.runs(); }));
}

QString SavePlan::summary() const
{
    if (entries.isEmpty())
        return QStringLiteral("Nothing to save");
    const auto many = [](int n, const char *one, const char *more) -> QString {
        return QString::number(n) + QLatin1Char(' ') + QString::fromUtf8(n == 1 ? one : more);
    };
    QStringList parts{many(int(entries.size()), "movie", "movies") + QStringLiteral(" \u2192 ") + settings.destination};
    QStringList actions;
    if (const int n = count(CreationAction::Convert))
        actions.append(QString::number(n) + QStringLiteral(" converted"));
    if (const int n = count(CreationAction::TagAndMove))
        actions.append(QString::number(n) + QStringLiteral(" moved"));
    if (const int n = count(CreationAction::TagInPlace))
        actions.append(QString::number(n) + QStringLiteral(" tagged in place"));
    const int skipped = int(std::count_if(entries.cbegin(), entries.cend(), [](const PlannedItem &p) { return p.skipped; }));
    if (skipped)
        actions.append(QString::number(skipped) + QStringLiteral(" skipped"));
    if (const int failing = countNotSaved() - skipped)
        actions.append(QString::number(failing) + QStringLiteral(" cannot be saved"));
    parts.append(actions.join(QStringLiteral(", ")));
    if (count(CreationAction::Convert) > 0)
        parts.append(settings.options.deleteSources ? QStringLiteral("originals deleted") : QStringLiteral("originals to the Trash"));
    if (const int review = countNeedsReview())
        parts.append(QString::number(review) + (review == 1 ? QStringLiteral(" needs review") : QStringLiteral(" need review")));
    return parts.join(QStringLiteral(" \u00b7 "));
}

QJsonObject SavePlan::toJson() const
{
    QJsonArray list;
    for (const PlannedItem &planned : entries)
        list.append(itemJson(planned));
    return {{QStringLiteral("destination"), settings.destination},
            {QStringLiteral("preset"), Presets::number(settings.preset)},
            {QStringLiteral("profile"), ConversionProfiles::name(settings.options.profile)},
            {QStringLiteral("clashes"), policyName(settings.options.clashes)},
            {QStringLiteral("deleteSources"), settings.options.deleteSources},
            {QStringLiteral("summary"), summary()},
            {QStringLiteral("items"), list}};
}

namespace SavePlanText {

QString fateName(SourceFate fate)
{
    switch (fate) {
    case SourceFate::Kept: return QStringLiteral("kept");
    case SourceFate::TaggedInPlace: return QStringLiteral("taggedInPlace");
    case SourceFate::Moved: return QStringLiteral("moved");
    case SourceFate::ToTrash: return QStringLiteral("trash");
    case SourceFate::Deleted: return QStringLiteral("deleted");
    }
    return {};
}

QString fateText(SourceFate fate)
{
    switch (fate) {
    case SourceFate::Kept: return QStringLiteral("stays as it is");
    case SourceFate::TaggedInPlace: return QStringLiteral("tagged where it is");
    case SourceFate::Moved: return QStringLiteral("tagged and moved");
    case SourceFate::ToTrash: return QStringLiteral("to the Trash");
    case SourceFate::Deleted: return QStringLiteral("deleted");
    }
    return {};
}

QString streamText(const PlannedStream &stream)
{
    QStringList about;
    if (!stream.language.isEmpty())
        about.append(stream.language);
    if (!stream.title.isEmpty())
        about.append(stream.title);
    QString text = stream.index >= 0 ? QStringLiteral("%1 #%2").arg(stream.kind).arg(stream.index)
                                     : QStringLiteral("downloaded %1").arg(stream.kind);
    if (!about.isEmpty())
        text += QStringLiteral(" (") + about.join(QStringLiteral(", ")) + QLatin1Char(')');
    text += QStringLiteral(": ") + stream.codec;
    if (stream.action == QLatin1String("drop"))
        text += QStringLiteral(", left out");
    else
        text += QStringLiteral(" \u2192 ") + stream.outputCodec
            + (stream.action == QLatin1String("copy") ? QStringLiteral(", copied") : QStringLiteral(", re-encoded"));
    if (!stream.reason.isEmpty())
        text += QStringLiteral(": ") + stream.reason;
    return text;
}

QString tagText(const PlannedTag &tag, int width)
{
    QString value;
    switch (tag.type) {
    case PlannedTag::Type::Text:
        value = tag.atom.endsWith("iTunMOVI") ? QStringLiteral("cast and crew list") : tag.value.toString().simplified();
        break;
    case PlannedTag::Type::Byte:
    case PlannedTag::Type::Number: value = QString::number(tag.value.toLongLong()); break;
    case PlannedTag::Type::Flag: value = tag.value.toBool() ? QStringLiteral("yes") : QStringLiteral("no"); break;
    case PlannedTag::Type::Jpeg:
    case PlannedTag::Type::Png:
        value = QStringLiteral("%1, %2 KB").arg(tag.type == PlannedTag::Type::Png ? QStringLiteral("PNG") : QStringLiteral("JPEG"))
                    .arg((tag.value.toByteArray().size() + 1023) / 1024);
        break;
    }
    if (value.size() > width)
        value = value.left(width - 1) + QStringLiteral("\u2026");
    return tag.name + QStringLiteral(": ") + value;
}

} // namespace SavePlanText
