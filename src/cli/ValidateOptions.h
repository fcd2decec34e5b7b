// HTML validation on the command line: the options, the settings they set, the wait for the
// validation to end and its report files; main thread.
#pragma once

#include <QString>
#include <QStringList>

namespace orel {
class LinkCheckerHub;
class SettingsControls;
} // namespace orel

namespace orel::cli {

struct ValidateOptions
{
    QString serviceUrl; // the validator's base address; empty: no validation
    bool all = false; // every page, not only the first
    QString report; // HTML report
    QString csv;

    bool enabled() const { return !serviceUrl.isEmpty(); }
};

// Takes args[i] (and its value) when it is a validation option; answers whether it did. An error
// text goes to error.
bool parseValidateOption(const QStringList &args, int &i, ValidateOptions &o, QString &error);

// What can be known to fail before the run: an address that is not http(s), an option that needs
// --validate, a folder that does not exist. Answers an error text or a null string.
QString checkValidateOptions(const ValidateOptions &o);

// Switches validation on in the settings (over any --set) when asked for.
void applyValidateOptions(const ValidateOptions &o, SettingsControls &controls);

// After a finished crawl: runs the event loop until the last page has been answered.
void waitForValidation(LinkCheckerHub &hub, const ValidateOptions &o);

// Prints the validation's summary line and writes the report files. Answers an error text for
// the first file that could not be written, or a null string.
// The counts line goes to stdout, or to stderr when stdout carries a report in another form.
QString writeValidationOutputs(LinkCheckerHub &hub, const ValidateOptions &o,
                               bool stdoutTaken = false);

// The usage lines of the options above.
QString validateUsage();

} // namespace orel::cli
