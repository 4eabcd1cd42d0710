#include "Services/Catalogue.h"

#include "Services/CodingDefinitions.h"

namespace Quenmark::Catalogue {

namespace {

/// Has the compiler make every function that a row names, here and nowhere else.
[[gnu::used]] constexpr auto rows = operations;

} // namespace

} // namespace Quenmark::Catalogue
