#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"
#include "base/ConversionProfile.h"
#include "base/Preset.h"
#include "creation/ConverterArguments.h"

#include <QList>
#include <QString>

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
};

/** Why an item cannot be saved under its name, found before any work starts. */
enum class SaveProblem {
    None,
    NameTaken,     ///< an existing file has the name
    NameClash,     ///< an earlier item of the same Save gets the name
    NameRefused,   ///< the destination's file system refuses the name
    NoRoom,        ///< the destination has too little free space
    NoDestination, ///< the destination is not a writable folder
};

/** One item of a Save, checked. */
struct PlannedItem
{
    CreationAction action = CreationAction::Convert;
    QString finalPath;   ///< where the movie goes (after the policy: renamed when it is Rename)
    SaveProblem problem = SaveProblem::None;
    QString problemText; ///< a sentence a person can act on; empty when there is no problem
    bool skipped = false; ///< left out under ClashPolicy::Skip

    bool clashes() const { return problem == SaveProblem::NameTaken || problem == SaveProblem::NameClash; }
};

/**
 * The check Save makes of every final path before anything is converted:
 * clashes with existing files and with each other, names the destination
 * refuses, and the room on the destination.
 */
namespace SavePlan {

/** Checks @p items for a Save into @p destination; one entry per item, in order. Writes nothing that stays. */
QList<PlannedItem> check(const QList<MovieItem> &items, const QString &destination, Preset preset,
                         ClashPolicy policy = ClashPolicy::Fail);

} // namespace SavePlan
