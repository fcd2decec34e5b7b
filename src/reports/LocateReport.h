// Where a link is on one of its pages and the route to that page from the start page, as a
// short HTML text for the locate view; main thread.
#pragma once

#include <QString>

namespace orel {

class LinkCheckerUrl;
class LinkResults;

// The record's occurrence at pageIndex of its on-page list: a heading, the link's own item, how
// often it occurs elsewhere, and the route that follows each page's first on-page entry back to
// the start page, read from the start page downwards. A route that runs into a page already on
// it, or into a page without a record or an on-page entry, ends there. "" for no record or an
// index out of range.
QString locateReport(const LinkResults &results, const LinkCheckerUrl &record, int pageIndex);

} // namespace orel
