// Linked into every fuzz target: the readers' diagnostic lines would otherwise
// be written once per input, millions of times a run.
#include "base/Diagnostics.h"

namespace {

const bool Quiet = (Diagnostics::setSink(Diagnostics::Sink::Discard), true);

} // namespace
