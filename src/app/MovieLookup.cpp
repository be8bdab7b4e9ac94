#include "app/MovieLookup.h"

#include "app/Corrections.h"
#include "app/LookupSupport.h"
#include "app/MatchConfidence.h"
#include "app/ServiceProblems.h"
#include "base/Diagnostics.h"
#include "base/SearchLanguage.h"
#include "metadata/StoreGenre.h"
#include "metadata/TMDB.h"
#include "metadata/TmdbAnswers.h"
#include "subtitles/Video.h"

#include <QPointer>

#include <algorithm>
#include <memory>

namespace MovieLookup {
namespace {

/** A choice a person made is kept for the file; one that cannot be kept (a tiny file) is only logged. */
void logUnremembered(const Outcome<void> &remembered)
{
    if (!remembered)
        Diagnostics::write(QStringLiteral("Your choice was not remembered: ") + remembered.errorText());
}

void rememberMovieChoice(const MovieItem &item)
{
    const QString path = item.value(ItemKey::filePath).toString();
    if (!path.isEmpty() && item.value(ItemKey::movieTMDBID).toLongLong() > 0)
        logUnremembered(Corrections::rememberMovie(path, item.value(ItemKey::movieTMDBID).toLongLong(),
                                                   item.value(ItemKey::movieTitle).toString(),
                                                   item.value(ItemKey::movieReleaseYear).toString()));
}

/**
 * A person's choice of movie applied to an item, step by step: match keys,
 * full poster, details, subtitle (with the subtitle preset), store genre.
 */
class CandidateChoice : public std::enable_shared_from_this<CandidateChoice>
{
public:
    CandidateChoice(MovieItem item, Preset preset, QObject *context, ItemCompletion completion)
        : m_item(std::move(item))
        , m_preset(preset)
        , m_context(context)
        , m_completion(std::move(completion))
    {
    }

    void start(const MovieItem &candidate)
    {
        for (const QString &key :
             {ItemKey::movieTitle, ItemKey::movieTMDBID, ItemKey::movieReleaseDate_YYYYhMMhDD,
              ItemKey::movieReleaseDate_BEAUTIFIED, ItemKey::movieReleaseYear, ItemKey::moviePosterPath,
              ItemKey::movieFoundStatus, ItemKey::movieLanguage})
            m_item.insert(key, candidate.value(key));
        m_item.insert(ItemKey::searchString, candidate.value(ItemKey::movieTitle));
        TMDB::getHighResPosterWithPosterPath(candidate.value(ItemKey::moviePosterPath).toString(),
                                             [self = shared_from_this()](const ItemImage &poster) {
                                                 self->posterLoaded(poster);
                                             });
    }

private:
    bool alive() const { return !m_context.isNull(); }

    void posterLoaded(const ItemImage &poster)
    {
        if (!alive())
            return;
        m_item.insert(ItemKey::moviePoster, QVariant::fromValue(poster));
        TMDB().getMoreMovieDataWithMovieTMDBID(m_item.value(ItemKey::movieTMDBID).toLongLong(),
                                               [self = shared_from_this()](const MovieItem &details) {
                                                   self->detailsLoaded(details);
                                               });
    }

    void detailsLoaded(const MovieItem &details)
    {
        if (!alive())
            return;
        for (const QString &key :
             {ItemKey::movieProducers, ItemKey::movieCast, ItemKey::movieComposers, ItemKey::movieTagline,
              ItemKey::movieScreenwriters, ItemKey::movieStudios, ItemKey::movieOverview, ItemKey::movieDirectors,
              ItemKey::movieCountry, ItemKey::movieRating_US, ItemKey::tmdbGenre, ItemKey::imdbID})
            m_item.insert(key, details.value(key));
        if (!details.value(ItemKey::imdbID).toString().isEmpty() && Presets::fetchesSubtitles(m_preset)) {
            fetchSubtitle(m_item, m_context, [self = shared_from_this(), details](const MovieItem &withSubtitle) {
                self->m_item = withSubtitle;
                self->lookUpGenre(details);
            });
            return;
        }
        lookUpGenre(details);
    }

    void lookUpGenre(const MovieItem &details)
    {
        if (!details.value(ItemKey::movieRating_US).toString().isEmpty())
            m_item.insert(ItemKey::movieRating_US_Icon, details.value(ItemKey::movieRating_US_Icon));
        StoreGenre::getGenreFromiTunesStoreWithMovieTitle(
            m_item.value(ItemKey::movieTitle).toString(), m_item.value(ItemKey::movieReleaseYear).toString(),
            details.value(ItemKey::tmdbGenre).toString(),
            [self = shared_from_this()](const MovieItem &genre) {
                if (!self->alive())
                    return;
                self->m_item.insert(ItemKey::movieGenre, genre.value(ItemKey::movieGenre));
                self->m_item.insert(ItemKey::genreFound, genre.value(ItemKey::genreFound));
                MatchConfidence::applyPersonsChoice(self->m_item);
                rememberMovieChoice(self->m_item);
                self->m_completion(self->m_item);
            },
            StoreGenre::Turn::First); // a person is waiting for this one
    }

    MovieItem m_item;
    const Preset m_preset;
    QPointer<QObject> m_context;
    ItemCompletion m_completion;
};

Video videoOf(const MovieItem &item)
{
    return Video(item.value(ItemKey::filePath).toString(), item.value(ItemKey::imdbID).toString(),
                 item.value(ItemKey::duration).toDouble());
}

MovieItem withSubtitle(const MovieItem &item, const Video &updated)
{
    MovieItem result = item;
    const bool found = updated.subStatus == SubtitleStauts::found;
    result.insert(ItemKey::downloadedSubtitlePath, updated.downloadedSubtitlePath);
    result.insert(ItemKey::subtitleFound, found);
    result.insert(ItemKey::subtitleNote, found ? QString() : updated.statusText);
    return result;
}

/** The subtitle remembered for the item's file, when it was chosen for this movie in the language searched now. */
std::optional<Corrections::Memory> rememberedSubtitle(const MovieItem &item)
{
    const std::optional<Corrections::Memory> memory =
        Corrections::recall(Corrections::keyOf(item.value(ItemKey::filePath).toString()));
    if (!memory || memory->subtitleFileID < 1
        || memory->subtitleLanguage != SearchLanguage::current().alpha3bOrEnglish()
        || (memory->tmdbID > 0 && memory->tmdbID != item.value(ItemKey::movieTMDBID).toLongLong()))
        return std::nullopt;
    return memory;
}

} // namespace

int storeAnswersPending()
{
    return StoreGenre::pending();
}

void whenStoreAnswered(QObject *context, std::function<void()> done)
{
    StoreGenre::whenSettled(context, std::move(done));
}

void searchCandidates(const QString &text, std::function<void(const QList<MovieItem> &)> completion)
{
    TMDB().getMovieListForSearchString(text, std::move(completion));
}

void findCandidates(const QString &text, QObject *context,
                    std::function<void(const Outcome<QList<MovieItem>> &)> completion)
{
    QPointer<QObject> guard(context);
    TMDB().findMovieList(text, [guard, completion](const Outcome<QList<MovieItem>> &records) {
        if (!records)
            LookupSupport::reportTmdbProblem(records.error());
        if (guard)
            completion(records);
    });
}

void movieById(qint64 tmdbID, std::function<void(const Outcome<MovieItem> &)> completion)
{
    TMDB().getDetails(tmdbID, [tmdbID, completion](const Outcome<Json> &answer) {
        if (!answer) {
            if (answer.errorKind() != ErrorKind::Refused)
                LookupSupport::reportTmdbProblem(answer.error());
            completion(failure(answer.errorKind(), QStringLiteral("TMDb has no movie %1: %2").arg(tmdbID).arg(answer.errorText())));
            return;
        }
        MovieItem match = TmdbAnswers::matchRecord(*answer, SearchLanguage::current().english, true);
        TMDB::getPoster(QStringLiteral("w154"), match.value(ItemKey::moviePosterPath).toString(),
                        [match, completion](const ItemImage &poster) mutable {
                            match.insert(ItemKey::moviePoster, QVariant::fromValue(poster));
                            completion(match);
                        });
    });
}

void applyCandidate(const MovieItem &item, const MovieItem &candidate, Preset preset, QObject *context,
                    ItemCompletion completion)
{
    std::make_shared<CandidateChoice>(item, preset, context, std::move(completion))->start(candidate);
}

void fetchSubtitle(const MovieItem &item, QObject *context, ItemCompletion completion)
{
    const auto search = [item, context, completion] {
        videoOf(item).searchAndDownloadSubtitle(context, [item, completion](const Video &updated) {
            // Not searched at all (no key, a refused log-in, the download limit): the service, not the movie, is why.
            if (updated.subStatus == SubtitleStauts::notSearched)
                ServiceProblems::instance().reportSentence(updated.statusText);
            completion(withSubtitle(item, updated));
        });
    };
    const std::optional<Corrections::Memory> memory = rememberedSubtitle(item);
    if (!memory) {
        search();
        return;
    }
    // The subtitle the person chose for this file before; a search when it cannot be had any more.
    videoOf(item).downloadSubtitleWithFileID(QString::number(memory->subtitleFileID), QStringLiteral("srt"), context,
                                             [item, completion, search](const Video &updated) {
                                                 if (updated.subStatus != SubtitleStauts::found) {
                                                     search();
                                                     return;
                                                 }
                                                 completion(withSubtitle(item, updated));
                                             });
}

QList<SubtitleCandidate> sortedNewestFirst(QList<SubtitleCandidate> candidates)
{
    std::stable_sort(candidates.begin(), candidates.end(), [](const SubtitleCandidate &a, const SubtitleCandidate &b) {
        return a.approximateTime > b.approximateTime;
    });
    return candidates;
}

void getSubtitleList(const MovieItem &item, QObject *context,
                     std::function<void(const QList<SubtitleCandidate> &)> completion)
{
    Video::getSubtitleList(item.value(ItemKey::imdbID).toString(), context,
                           [completion](const QList<SubtitleCandidate> &candidates) {
                               completion(sortedNewestFirst(candidates));
                           });
}

void applySubtitle(const MovieItem &item, const SubtitleCandidate &candidate, QObject *context,
                   std::function<void(const Outcome<MovieItem> &)> completion)
{
    auto chosen = [item, candidate, completion](const Video &updated) {
        Diagnostics::write(updated.downloadedSubtitlePath);
        if (updated.subStatus != SubtitleStauts::found) {
            const QString why = updated.statusText.isEmpty() ? QStringLiteral("The subtitle could not be downloaded")
                                                             : updated.statusText;
            completion(Error{ErrorKind::Failed, why});
            return;
        }
        logUnremembered(Corrections::rememberSubtitle(item.value(ItemKey::filePath).toString(), candidate.fileID,
                                                      SearchLanguage::current().alpha3bOrEnglish()));
        completion(withSubtitle(item, updated));
    };
    videoOf(item).downloadSubtitleWithFileID(QString::number(candidate.fileID), QStringLiteral("srt"), context, chosen);
}

} // namespace MovieLookup
