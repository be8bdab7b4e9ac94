#pragma once

#include "base/ConversionProfile.h"
#include "base/MovieItemKeys.h"
#include "base/Preset.h"
#include "creation/ConverterArguments.h"
#include "creation/FileNames.h"
#include "creation/StreamPlan.h"
#include "creation/TagWriter.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>

/** What Save does with an item whose file name is taken. */
enum class ClashPolicy {
    Fail,   ///< the item fails, naming the clash (the command line)
    Rename, ///< the movie is saved as "Title (2).mp4", "Title (3).mp4", ...
    Skip,   ///< the item is left out
};

/** How a Save treats names and sources. */
struct SaveOptions
{
    ClashPolicy clashes = ClashPolicy::Fail;
    /** Delete converted sources outright instead of moving them to the Trash. */
    bool deleteSources = false;
    /** Which streams a conversion keeps and how (ConversionProfile). */
    ConversionProfile profile = ConversionProfile::Classic;
    /** Leave out the movies whose match needs review. */
    bool skipNeedsReview = false;
};

/** Everything besides the list that decides a Save. */
struct SaveSettings
{
    QString destination;
    Preset preset = Presets::Default;
    SaveOptions options;
    /** The ISO 639-2/B code a downloaded subtitle is tagged with. */
    QString subtitleLanguage = QStringLiteral("eng");
};

/** Why an item cannot be saved as it is, found before any work starts. */
enum class SaveProblem {
    None,
    Incomplete,    ///< the item lacks a key Save needs
    NameTaken,     ///< an existing file has the name
    NameClash,     ///< an earlier item of the same Save gets the name
    NameRefused,   ///< the destination's file system refuses the name
    NoRoom,        ///< the destination has too little free space
    NoDestination, ///< the destination is not a writable folder
    SourceMissing, ///< the source file is gone
    NeedsReview,   ///< left out because its match needs review
};

/** Where the source of an item is after the Save. */
enum class SourceFate {
    Kept,          ///< untouched (the item is not saved)
    TaggedInPlace, ///< it is the saved movie, where it was
    Moved,         ///< it is the saved movie, in the destination
    ToTrash,       ///< the converted movie replaces it; it goes to the Trash
    Deleted,       ///< the converted movie replaces it; it is deleted outright
};

/** One item of a Save: what will be done, to which file, with which converter arguments and tags. */
struct PlannedItem
{
    qint64 serialNumber = -1;
    QString source;
    QString movieTitle;
    CreationAction action = CreationAction::Convert;
    /** Where the movie goes; for a clash under ClashPolicy::Rename, the free "Title (n).mp4". */
    QString finalPath;
    /** A conversion's output while the converter writes it, beside the final path. */
    QString temporaryPath;
    /** A conversion's arguments and the fate of each stream; empty for tagging and moving. */
    ConversionPlan conversion;
    QList<PlannedTag> tags;
    SourceFate sourceFate = SourceFate::Kept;
    SaveProblem problem = SaveProblem::None;
    /** Why the item is not saved, or (when renamed) why its name differs; a sentence a person can act on. */
    QString problemText;
    bool skipped = false; ///< left out on purpose (ClashPolicy::Skip, skipNeedsReview)
    bool needsReview = false;
    std::optional<double> matchConfidence;

    /** The item is carried out (it may still fail on what happens meanwhile). */
    bool runs() const { return problem == SaveProblem::None && !skipped; }
    bool renamed() const { return runs() && !problemText.isEmpty(); }
    bool clashes() const { return problem == SaveProblem::NameTaken || problem == SaveProblem::NameClash; }
};

/** What is known of the disk when a Save is planned: read once, then the plan is a pure function of it. */
struct SaveFacts
{
    bool destinationUsable = false;
    FileNames::NameRules rules = FileNames::NameRules::Posix;
    /** The entries of the destination folder, by name (case-folded where the file system ignores case). */
    QSet<QString> existingNames;
    qint64 freeBytes = -1; ///< on the destination; negative: not known
    qint64 nameMaxBytes = FileNames::MaxNameBytes;
    struct Source
    {
        bool exists = false;
        qint64 size = 0;
        bool onDestinationDisk = false;
    };
    QHash<QString, Source> sources;
    /** Names the destination refused when asked (only when the facts were read for a real Save). */
    QHash<QString, QString> refusedNames;

    bool nameTaken(const QString &fileName) const;
};

/**
 * A Save decided before anything is touched: for every item of the list the
 * action, the final path (clashes and refused names already resolved), the
 * converter's arguments, the streams kept and dropped, the tags, and what
 * happens to the source. The batch carries out exactly this; a dry run
 * prints it; the window shows it for the person to confirm.
 */
struct SavePlan
{
    SaveSettings settings;
    /** The list the plan was made from, in order: what the batch writes. */
    QList<MovieItem> items;
    QList<PlannedItem> entries;

    /**
     * The plan for @p items with @p settings, from @p facts alone: writes
     * nothing, reads nothing, gives the same plan for the same input.
     */
    static SavePlan make(const QList<MovieItem> &items, const SaveSettings &settings, const SaveFacts &facts);

    /**
     * Reads what the plan needs to know of the destination and the sources.
     * With @p askTheDisk the destination is asked whether it takes each name
     * (a file is created and removed); without it nothing at all is written.
     */
    static SaveFacts readFacts(const QList<MovieItem> &items, const SaveSettings &settings, bool askTheDisk);

    /** readFacts() then make(). */
    static SavePlan check(const QList<MovieItem> &items, const SaveSettings &settings, bool askTheDisk = true);

    int count(CreationAction action) const;
    int countNeedsReview() const;
    int countNotSaved() const;
    /** "4 movies → /dest · 3 converted, 1 moved · originals to the Trash · 1 needs review" */
    QString summary() const;
    QJsonObject toJson() const;
};

namespace SavePlanText {
/** "kept", "taggedInPlace", "moved", "trash", "deleted" */
QString fateName(SourceFate fate);
/** The fate in words, for a person: "tagged where it is", "to the Trash"... */
QString fateText(SourceFate fate);
/** One stream of a conversion: "audio #1 (eng, Commentary): dts → aac, re-encoded: ..." */
QString streamText(const PlannedStream &stream);
/** One tag: "title: Heat", "cover: JPEG, 34 KB"; long texts are cut to @p width characters. */
QString tagText(const PlannedTag &tag, int width = 60);
} // namespace SavePlanText
