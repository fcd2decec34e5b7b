// Status texts of HTTP answers from a built-in table of reason phrases; any thread.
#pragma once

#include <QString>

namespace orel {

// The lower-case reason phrase of a status code: "no error" for 200, the registered phrase for
// other known codes, the class phrase ("redirection", "client error", ...) for unknown codes of a
// known class, and "unknown" otherwise.
QString reasonPhrase(int code);
// "%i %@": the code, a blank and its reason phrase ("404 not found").
QString statusText(int code);

} // namespace orel
