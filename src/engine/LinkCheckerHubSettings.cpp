// The crawl controller's answers built on the settings controls, read live each time a record
// or the crawl asks; main thread.
#include "engine/LinkCheckerHub.h"

#include "common/SettingsControls.h"
#include "links/LinkCheckerUrl.h"

namespace orel {

bool LinkCheckerHub::shouldTrim() const
{
    return SettingsControls::isOn(m_controls->qsButton);
}

bool LinkCheckerHub::shouldIgnoreSlash() const
{
    return SettingsControls::isOn(m_controls->slashButton);
}

bool LinkCheckerHub::shouldTrimSpaces() const
{
    return SettingsControls::isOn(m_controls->trimButton);
}

bool LinkCheckerHub::getIgnoreQS() const
{
    return SettingsControls::isOn(m_controls->qsButton);
}

bool LinkCheckerHub::getCheckImages() const
{
    return SettingsControls::isOn(m_controls->imgButton);
}

bool LinkCheckerHub::checkErrorPages() const
{
    return SettingsControls::isOn(m_controls->checkErrorPages);
}

bool LinkCheckerHub::isPlainTextMode() const
{
    return SettingsControls::isOn(m_controls->plainTextMode);
}

bool LinkCheckerHub::shouldFlagBlacklisted() const
{
    return SettingsControls::isOn(m_controls->flagBlacklistCheckBox);
}

double LinkCheckerHub::getTimeoutInterval() const
{
    return m_controls->timeoutField;
}

bool LinkCheckerHub::displayPageTitle() const
{
    return SettingsControls::isOn(m_controls->displayPageTitle);
}

bool LinkCheckerHub::shouldHighlight() const
{
    return SettingsControls::isOn(m_controls->shouldHighlight);
}

bool LinkCheckerHub::shouldPerformSoft404Check() const
{
    return !SettingsControls::isOff(m_controls->soft404Button);
}

bool LinkCheckerHub::performSoft404CheckOnThisUrl(LinkCheckerUrl *record)
{
    if (!record || !SettingsControls::isOn(m_controls->soft404Button))
        return false;
    return containsOneOfTheseTerms(record->getActualLinkUrl(), m_soft404Array)
            || record->dataContainsOneOfTheseTerms(m_soft404Array);
}

bool LinkCheckerHub::shouldArchive() const
{
    return SettingsControls::isOn(m_controls->archiveButton)
            || SettingsControls::isOn(m_controls->SEOCountKeywordsInContentCheckBox)
            || SettingsControls::isOn(m_controls->blacklistCheckContentCheckBox);
}

} // namespace orel
