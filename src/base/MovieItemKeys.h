#pragma once

#include <QString>
#include <QVariantMap>

/**
 * The vocabulary of a movie item: a QVariantMap with these keys.
 *
 * Value kinds: QString (text), qint64 (integer), double (real), bool,
 * QUrl (file URL), ItemImage (image) and QVariantList of QVariantMap
 * (the track list). Every folder of the core may use these names.
 */
using MovieItem = QVariantMap;

namespace ItemKey {

// File facts, written once when the item is made from a probe.
inline const QString fileURL = QStringLiteral("fileURL");
inline const QString filePath = QStringLiteral("filePath");
inline const QString fileName = QStringLiteral("fileName");
inline const QString fileString = QStringLiteral("fileString");
inline const QString searchString = QStringLiteral("searchString");
inline const QString duration = QStringLiteral("duration");
inline const QString durationHuman = QStringLiteral("durationHuman");
inline const QString beautifiedDuration = QStringLiteral("beautifiedDuration");
inline const QString tracksInfo = QStringLiteral("tracksInfo");
inline const QString videoString = QStringLiteral("videoString");
inline const QString audioString = QStringLiteral("audioString");
inline const QString subtitleString = QStringLiteral("subtitleString");
inline const QString fileSize = QStringLiteral("fileSize");
inline const QString hdFlag = QStringLiteral("hdFlag");
inline const QString serialNumber = QStringLiteral("serialNumber");
inline const QString mediaType = QStringLiteral("mediaType");
inline const QString encodingTool = QStringLiteral("encodingTool");

// Movie identification, from the movie lookup.
inline const QString movieTitle = QStringLiteral("movieTitle");
inline const QString movieTMDBID = QStringLiteral("movieTMDBID");
inline const QString movieReleaseDate_YYYYhMMhDD = QStringLiteral("movieReleaseDate_YYYYhMMhDD");
inline const QString movieReleaseDate_BEAUTIFIED = QStringLiteral("movieReleaseDate_BEAUTIFIED");
inline const QString movieReleaseYear = QStringLiteral("movieReleaseYear");
inline const QString moviePosterPath = QStringLiteral("moviePosterPath");
inline const QString moviePoster = QStringLiteral("moviePoster");
inline const QString movieFoundStatus = QStringLiteral("movieFoundStatus");
inline const QString movieLanguage = QStringLiteral("movieLanguage");
/** Set only when the lookup could not be made (a refused key, an unreachable service): why, in words. */
inline const QString lookupFailure = QStringLiteral("lookupFailure");
/** How sure the match is, 0 to 1 (double), the reasons behind it (QStringList), and whether it falls below the
 *  review threshold (bool). */
inline const QString matchConfidence = QStringLiteral("matchConfidence");
inline const QString matchReasons = QStringLiteral("matchReasons");
inline const QString needsReview = QStringLiteral("needsReview");

// Movie details.
inline const QString movieTagline = QStringLiteral("movieTagline");
inline const QString movieOverview = QStringLiteral("movieOverview");
inline const QString movieCountry = QStringLiteral("movieCountry");
inline const QString movieDirectors = QStringLiteral("movieDirectors");
inline const QString movieCast = QStringLiteral("movieCast");
inline const QString movieProducers = QStringLiteral("movieProducers");
inline const QString movieStudios = QStringLiteral("movieStudios");
inline const QString movieScreenwriters = QStringLiteral("movieScreenwriters");
inline const QString movieComposers = QStringLiteral("movieComposers");
inline const QString movieRating_US = QStringLiteral("movieRating_US");
inline const QString movieRating_US_Icon = QStringLiteral("movieRating_US_Icon");
inline const QString tmdbGenre = QStringLiteral("tmdbGenre");
inline const QString imdbID = QStringLiteral("imdbID");

// Genre.
inline const QString movieGenre = QStringLiteral("movieGenre");
inline const QString genreFound = QStringLiteral("genreFound");

// Subtitle result.
inline const QString downloadedSubtitlePath = QStringLiteral("downloadedSubtitlePath");
inline const QString subtitleFound = QStringLiteral("subtitleFound");
inline const QString displaySubtitleBanner = QStringLiteral("displaySubtitleBanner");
/** Why a movie has no subtitle, in words (no key, the download limit, a file turned away); empty when found. */
inline const QString subtitleNote = QStringLiteral("subtitleNote");

} // namespace ItemKey

/** Keys of one track entry (an element of "tracksInfo"). */
namespace TrackKey {
inline const QString trackType = QStringLiteral("trackType");
inline const QString trackCodec = QStringLiteral("trackCodec");
inline const QString trackID = QStringLiteral("trackID");
inline const QString trackPresentInfile = QStringLiteral("trackPresentInfile");
inline const QString trackSpecialInfo = QStringLiteral("trackSpecialInfo");
inline const QString trackDuration = QStringLiteral("trackDuration");
inline const QString trackDurationHuman = QStringLiteral("trackDurationHuman");
inline const QString trackLanguage = QStringLiteral("trackLanguage");
inline const QString trackDictionary = QStringLiteral("trackDictionary");
} // namespace TrackKey

/** The "trackType" values. */
namespace TrackType {
inline const QString Video = QStringLiteral("Video");
inline const QString Audio = QStringLiteral("Audio");
inline const QString Subtitle = QStringLiteral("Subtitle");
inline const QString Poster = QStringLiteral("Poster");
inline const QString Other = QStringLiteral("Other");
} // namespace TrackType
