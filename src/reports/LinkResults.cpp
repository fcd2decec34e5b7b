// What the link views read of a crawl's results.
#include "reports/LinkResults.h"

namespace orel {

LinkResults::~LinkResults() = default;

} // namespace orel
