#include "app/LookupSupport.h"

#include "app/ServiceProblems.h"
#include "base/ServiceConfig.h"

namespace LookupSupport {

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

} // namespace LookupSupport
