#pragma once

#include "base/MovieItemKeys.h"
#include "base/Outcome.h"

/** Small steps shared by the movie lookup's recipes. */
namespace LookupSupport {

/** Why a search could not be made, in words a person can act on; the window's message bar hears it too. */
QString reportTmdbProblem(const Error &error);

/** Copies every entry of @p from into @p into, overwriting. */
void merge(MovieItem &into, const MovieItem &from);

} // namespace LookupSupport
