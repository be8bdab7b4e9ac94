#include "app/MovieLookup.h"

#include "app/ServiceProblems.h"
#include "base/Diagnostics.h"
#include "base/SearchLanguage.h"
#include "base/ServiceConfig.h"
#include "metadata/StoreGenre.h"
#include "metadata/TMDB.h"
#include "metadata/TmdbAnswers.h"
#include "subtitles/Video.h"

#include <QPointer>

#include <algorithm>
#include <memory>

namespace MovieLookup {
namespace {

/** Why a search could not be made, in words a person can act on; the window's message bar hears it too. */
QString reportTmdbProblem(const Error &error)
{
    ServiceProblems::instance().report(QStringLiteral("TMDb"), ServiceConfig::tmdbApiUrl(), error);
    return ServiceProblems::describe(QStringLiteral("TMDb"), ServiceConfig::tmdbApiUrl(), error);
}

void merge(MovieItem &into, const MovieItem &from)
{
    for (auto it = from.cbegin(); it != from.cend(); ++it)
        into.insert(it.key(), it.value());
}

/**
 * One identification of a file name, step by step: exact pass, closest
 * pass, poster, details, genre. Each step's request keeps the object alive
 * until its answer arrives.
 */
class Identification : public std::enable_shared_from_this<Identification>
{
public:
    Identification(QString movieName, ItemCompletion completion, ItemCompletion genreLater)
        : m_name(std::move(movieName))
        , m_language(SearchLanguage::current())
        , m_completion(std::move(completion))
        , m_genreLater(std::move(genreLater))
    {
    }

    void start()
    {
        if (!m_client.hasKey()) {
            const Error noKey = failure(ErrorKind::Missing, QStringLiteral("no TMDb key: enter one in Settings or set KINOVELA_TMDB_API_KEY"));
            Diagnostics::write(QStringLiteral("Outer : ") + m_name + QStringLiteral(" -> ") + noKey.text);
            m_record.insert(ItemKey::lookupFailure, noKey.text);
            Q_EMIT ServiceProblems::instance().problem(noKey.text);
            // Answered from the event loop, like every lookup.
            TMDB::delay(0, [self = shared_from_this()] { self->m_completion(self->m_record); });
            return;
        }
        m_client.searchMovies(m_name, m_language.alpha2, [self = shared_from_this()](const Outcome<Json> &answer) {
            self->exactPass(answer);
        });
    }

private:
    void exactPass(const Outcome<Json> &answer)
    {
        if (!answer) {
            Diagnostics::write(QStringLiteral("Outer : ") + m_name + QStringLiteral(" -> ") + answer.errorText());
            m_record.insert(ItemKey::lookupFailure, reportTmdbProblem(answer.error()));
            m_completion(m_record);
            for (const QString &line : answer.error().details)
                Diagnostics::write(line);
            return;
        }
        const qsizetype exact = TmdbAnswers::exactTitleIndex(*answer, m_name);
        if (exact >= 0) {
            takeMatch((*answer)["results"][exact]);
            return;
        }
        m_client.searchMovies(spacedName(), m_language.alpha2, [self = shared_from_this()](const Outcome<Json> &second) {
            self->closestPass(second);
        });
    }

    void closestPass(const Outcome<Json> &answer)
    {
        if (!answer) {
            Diagnostics::write(QStringLiteral("Inner : ") + m_name + QStringLiteral(" -> ") + answer.errorText());
            m_record.insert(ItemKey::lookupFailure, reportTmdbProblem(answer.error()));
            m_completion(m_record);
            return;
        }
        const qint64 total = (*answer)["total_results"].integer();
        const qsizetype closest = TmdbAnswers::closestTitleIndex(*answer, m_name);
        if (total < 1 || total > 9999 || closest < 0) {
            Diagnostics::write(TMDB::loggable(m_client.searchUrl(spacedName(), m_language.alpha2)));
            m_completion(m_record);
            return;
        }
        takeMatch((*answer)["results"][closest]);
    }

    void takeMatch(const Json &result)
    {
        MovieItem match = TmdbAnswers::matchRecord(result, m_language.english, false);
        const QString posterPath = match.value(ItemKey::moviePosterPath).toString();
        TMDB::getPoster(QStringLiteral("original"), posterPath,
                        [self = shared_from_this(), match](const ItemImage &poster) mutable {
                            match.insert(ItemKey::moviePoster, QVariant::fromValue(poster));
                            self->posterLoaded(match);
                        });
    }

    void posterLoaded(const MovieItem &match)
    {
        merge(m_record, match);
        const qint64 id = m_record.value(ItemKey::movieTMDBID).toLongLong();
        if (id < 1) {
            m_completion(m_record);
            return;
        }
        m_client.getMoreMovieDataWithMovieTMDBID(id, [self = shared_from_this()](const MovieItem &details) {
            self->detailsLoaded(details);
        });
    }

    void detailsLoaded(const MovieItem &details)
    {
        merge(m_record, details);
        const QString title = m_record.value(ItemKey::movieTitle).toString();
        const QString year = m_record.value(ItemKey::movieReleaseYear).toString();
        const QString tmdbGenre = details.value(ItemKey::tmdbGenre).toString();
        if (m_genreLater) {
            // The record goes now, with what the cache knows or TMDb's genre; the store's word follows.
            const std::optional<MovieItem> cached = StoreGenre::cachedGenre(title, year, tmdbGenre);
            merge(m_record, cached ? *cached
                                   : MovieItem{{ItemKey::movieGenre, tmdbGenre}, {ItemKey::genreFound, !tmdbGenre.isEmpty()}});
            m_completion(m_record);
            if (!cached) {
                // The movie it is for goes with the genre, so that it never lands on another movie.
                const QVariant movie = m_record.value(ItemKey::movieTMDBID);
                StoreGenre::getGenreFromiTunesStoreWithMovieTitle(title, year, tmdbGenre,
                                                                  [later = m_genreLater, movie](MovieItem genre) {
                                                                      genre.insert(ItemKey::movieTMDBID, movie);
                                                                      later(genre);
                                                                  });
            }
            return;
        }
        StoreGenre::getGenreFromiTunesStoreWithMovieTitle(title, year, tmdbGenre,
                                                          [self = shared_from_this()](const MovieItem &genre) {
                                                              merge(self->m_record, genre);
                                                              self->m_completion(self->m_record);
                                                          });
    }

    /** The name searched on the second pass: dots and colons as spaces. */
    QString spacedName() const
    {
        return QString(m_name).replace(QLatin1Char('.'), QLatin1Char(' ')).replace(QLatin1Char(':'), QLatin1Char(' '));
    }

    const QString m_name;
    const SearchLanguage m_language;
    const TMDB m_client;
    ItemCompletion m_completion;
    const ItemCompletion m_genreLater;
    MovieItem m_record = TmdbAnswers::notFoundRecord();
};

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

} // namespace

void getMovieInfo(const QString &movieName, ItemCompletion completion)
{
    std::make_shared<Identification>(movieName, std::move(completion), ItemCompletion())->start();
}

void getMovieInfo(const QString &movieName, ItemCompletion completion, ItemCompletion storeGenre)
{
    std::make_shared<Identification>(movieName, std::move(completion), std::move(storeGenre))->start();
}

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
            reportTmdbProblem(records.error());
        if (guard)
            completion(records);
    });
}

void applyCandidate(const MovieItem &item, const MovieItem &candidate, Preset preset, QObject *context,
                    ItemCompletion completion)
{
    std::make_shared<CandidateChoice>(item, preset, context, std::move(completion))->start(candidate);
}

void fetchSubtitle(const MovieItem &item, QObject *context, ItemCompletion completion)
{
    videoOf(item).searchAndDownloadSubtitle(context, [item, completion](const Video &updated) {
        MovieItem result = item;
        result.insert(ItemKey::downloadedSubtitlePath, updated.downloadedSubtitlePath);
        result.insert(ItemKey::subtitleFound, updated.subStatus == SubtitleStauts::found);
        completion(result);
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
                   std::function<void(const std::optional<MovieItem> &)> completion)
{
    videoOf(item).downloadSubtitleWithFileID(QString::number(candidate.fileID), QStringLiteral("srt"), context,
                                             [item, completion](const Video &updated) {
                                                 Diagnostics::write(updated.downloadedSubtitlePath);
                                                 if (updated.subStatus != SubtitleStauts::found) {
                                                     completion(std::nullopt);
                                                     return;
                                                 }
                                                 MovieItem result = item;
                                                 result.insert(ItemKey::downloadedSubtitlePath,
                                                               updated.downloadedSubtitlePath);
                                                 result.insert(ItemKey::subtitleFound, true);
                                                 completion(result);
                                             });
}

} // namespace MovieLookup
