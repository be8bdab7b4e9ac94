#include "app/LookupSupport.h"
#include "app/MatchConfidence.h"
#include "app/MovieLookup.h"
#include "app/ServiceProblems.h"
#include "base/Diagnostics.h"
#include "base/SearchLanguage.h"
#include "base/UserSettings.h"
#include "metadata/StoreGenre.h"
#include "metadata/TMDB.h"
#include "metadata/TmdbAnswers.h"

#include <memory>

namespace MovieLookup {
namespace {

/**
 * One identification of a file, step by step: a remembered choice or an
 * identifier beside the file (the movie by its id), else the exact pass
 * and the closest pass on the name; then poster, details, genre, and how
 * sure the match is. Each step's request keeps the object alive until its
 * answer arrives.
 */
class Identification : public std::enable_shared_from_this<Identification>
{
public:
    Identification(FileClues clues, ItemCompletion completion, ItemCompletion genreLater)
        : m_clues(std::move(clues))
        , m_name(m_clues.movieName)
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
        if (m_clues.memory && m_clues.memory->tmdbID > 0)
            byId(m_clues.memory->tmdbID, MatchConfidence::Source::Remembered);
        else if (m_clues.identifier.tmdbID > 0)
            byId(m_clues.identifier.tmdbID, MatchConfidence::Source::Identifier);
        else if (!m_clues.identifier.imdbID.isEmpty())
            byImdbNumber(m_clues.identifier.imdbID);
        else
            searchByName();
    }

private:
    void searchByName()
    {
        m_client.searchMovies(m_name, m_language.alpha2, [self = shared_from_this()](const Outcome<Json> &answer) {
            self->exactPass(answer);
        });
    }

    /** The movie a remembered choice or a TMDb id names; the name's search when TMDb does not know it. */
    void byId(qint64 id, MatchConfidence::Source source)
    {
        m_client.getDetails(id, [self = shared_from_this(), id, source](const Outcome<Json> &answer) {
            if (!answer || (*answer)["id"].integer() < 1) {
                self->m_unusedClue = QStringLiteral("TMDb id %1 %2 could not be looked up").arg(id).arg(self->whereFrom(source));
                self->searchByName();
                return;
            }
            self->m_source = source;
            self->m_details = *answer;
            self->takeMatch(*answer);
        });
    }

    void byImdbNumber(const QString &imdbID)
    {
        m_client.findByImdbID(imdbID, [self = shared_from_this(), imdbID](const Outcome<Json> &answer) {
            const Json movie = answer ? TmdbAnswers::foundMovie(*answer) : Json();
            if (movie["id"].integer() < 1) {
                self->m_unusedClue = QStringLiteral("IMDb number %1 %2 is not known to TMDb")
                                         .arg(imdbID, self->m_clues.identifierPlace);
                self->searchByName();
                return;
            }
            self->m_source = MatchConfidence::Source::Identifier;
            self->takeMatch(movie);
        });
    }

    QString whereFrom(MatchConfidence::Source source) const
    {
        return source == MatchConfidence::Source::Remembered ? QStringLiteral("(your earlier choice)")
                                                             : m_clues.identifierPlace;
    }

    void exactPass(const Outcome<Json> &answer)
    {
        if (!answer) {
            Diagnostics::write(QStringLiteral("Outer : ") + m_name + QStringLiteral(" -> ") + answer.errorText());
            m_record.insert(ItemKey::lookupFailure, LookupSupport::reportTmdbProblem(answer.error()));
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
            m_record.insert(ItemKey::lookupFailure, LookupSupport::reportTmdbProblem(answer.error()));
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
        m_source = MatchConfidence::Source::ClosestTitle;
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
        LookupSupport::merge(m_record, match);
        const qint64 id = m_record.value(ItemKey::movieTMDBID).toLongLong();
        if (id < 1) {
            m_completion(m_record);
            return;
        }
        if (m_details.exists()) {
            detailsLoaded(m_details);
            return;
        }
        m_client.getDetails(id, [self = shared_from_this(), id](const Outcome<Json> &answer) {
            if (!answer)
                Diagnostics::write(QStringLiteral("In More Movie Finder : ") + QString::number(id) + QStringLiteral(" -> ")
                                   + answer.errorText());
            self->detailsLoaded(answer ? *answer : Json());
        });
    }

    /** The details answer, or a null value when the request failed (the details record's defaults then). */
    void detailsLoaded(const Json &answer)
    {
        const MovieItem details = answer.exists() ? TmdbAnswers::parseDetails(answer) : TmdbAnswers::defaultDetailsRecord();
        m_runtimeMinutes = TmdbAnswers::runtimeMinutes(answer);
        LookupSupport::merge(m_record, details);
        const QString title = m_record.value(ItemKey::movieTitle).toString();
        const QString year = m_record.value(ItemKey::movieReleaseYear).toString();
        const QString tmdbGenre = details.value(ItemKey::tmdbGenre).toString();
        if (m_genreLater) {
            // The record goes now, with what the cache knows or TMDb's genre; the store's word follows.
            const std::optional<MovieItem> cached = StoreGenre::cachedGenre(title, year, tmdbGenre);
            LookupSupport::merge(m_record, cached ? *cached
                                                  : MovieItem{{ItemKey::movieGenre, tmdbGenre},
                                                              {ItemKey::genreFound, !tmdbGenre.isEmpty()}});
            scoreMatch();
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
                                                              LookupSupport::merge(self->m_record, genre);
                                                              self->scoreMatch();
                                                              self->m_completion(self->m_record);
                                                          });
    }

    void scoreMatch()
    {
        MatchConfidence::Signals signals;
        signals.source = m_source;
        signals.movieTitle = m_record.value(ItemKey::movieTitle).toString();
        signals.nameTitle = NameClues::titleIn(m_name, signals.movieTitle);
        // A number of the title (Blade Runner 2049) is no year; without any year in the name, the folder's counts.
        const int nameYear = NameClues::yearIn(m_name, signals.movieTitle);
        signals.nameYear = nameYear > 0 || NameClues::yearIn(m_name) > 0 ? nameYear : m_clues.year;
        signals.releaseYear = m_record.value(ItemKey::movieReleaseYear).toInt();
        signals.durationSeconds = m_clues.durationSeconds;
        signals.runtimeMinutes = m_runtimeMinutes;
        signals.identifierReason = m_clues.identifier.describe() + QLatin1Char(' ') + m_clues.identifierPlace;
        MatchConfidence::Result result = MatchConfidence::score(signals);
        if (!m_unusedClue.isEmpty())
            result.reasons.append(m_unusedClue);
        MatchConfidence::apply(m_record, result, UserSettings::reviewThreshold());
    }

    /** The name searched on the second pass: dots and colons as spaces. */
    QString spacedName() const
    {
        return QString(m_name).replace(QLatin1Char('.'), QLatin1Char(' ')).replace(QLatin1Char(':'), QLatin1Char(' '));
    }

    const FileClues m_clues;
    const QString m_name;
    const SearchLanguage m_language;
    const TMDB m_client;
    ItemCompletion m_completion;
    const ItemCompletion m_genreLater;
    MovieItem m_record = TmdbAnswers::notFoundRecord();
    MatchConfidence::Source m_source = MatchConfidence::Source::ExactTitle;
    Json m_details;
    int m_runtimeMinutes = 0;
    QString m_unusedClue; ///< an identifier or a memory that led nowhere, said in the reasons
};

} // namespace

void getMovieInfo(const QString &movieName, ItemCompletion completion)
{
    identify(FileClues::forName(movieName), std::move(completion));
}

void identify(const FileClues &clues, ItemCompletion completion, ItemCompletion storeGenre)
{
    std::make_shared<Identification>(clues, std::move(completion), std::move(storeGenre))->start();
}

} // namespace MovieLookup
