// A link owner that records every message it receives, in order; main thread.
#pragma once

#include "links/LinkCheckerUrl.h"
#include "links/LinkOwner.h"

#include <QStringList>

#include <functional>
#include <vector>

namespace orel::test {

class FakeOwner : public LinkOwner
{
public:
    // Answers the record's questions.
    bool stop_ = false, rechecking = false, ignoreSlash = false, flagBlacklisted = false;
    bool archive = false, soft404Check = false, soft404Answer = false, titles = false;
    int linksOnPage = 0;

    // Messages received, in order: "incNumberDone", "addToLookup:<key>", ...
    QStringList calls;
    // Work posted with later() ("post, no wait"), held until the test runs it, so that none of
    // it outlives the owner.
    std::vector<std::function<void()>> posted;

    void note(const QString &message) { calls << message; }

    void threadHasFinished(LinkCheckerUrl *) override { note("threadHasFinished"); }
    void incNumberDone(LinkCheckerUrl *) override { note("incNumberDone"); }
    void statusHasChangedFordO(LinkCheckerUrl *) override { note("statusHasChangedFordO"); }
    // The body must still be there while the owner parses it.
    void extractLinks(LinkCheckerUrl *r) override
    {
        note(r->getData().isEmpty() ? "extractLinks(no body)" : "extractLinks");
    }
    void incNumberValidated(LinkCheckerUrl *) override { note("incNumberValidated"); }
    void addToLookup(LinkCheckerUrl *, const QString &key) override { note("addToLookup:" + key); }
    void addLink(LinkCheckerUrl *, const QString &page) override { note("addLink:" + page); }
    bool performSoft404CheckOnThisUrl(LinkCheckerUrl *) override
    {
        note("performSoft404CheckOnThisUrl");
        return soft404Answer;
    }
    bool shouldPerformSoft404Check() const override { return soft404Check; }
    void archivePage(LinkCheckerUrl *) override { note("archivePage"); }
    bool shouldArchive() const override { return archive; }
    void resetDomain(LinkCheckerUrl *r) override { note("resetDomain:" + r->getActualLinkUrl()); }
    void emergencyMemoryStop() override { note("emergencyMemoryStop"); }
    void stop() override { note("stop"); }
    bool stopPressed() const override { return stop_; }
    bool isRechecking() const override { return rechecking; }
    bool shouldTrim() const override { return false; }
    bool shouldIgnoreSlash() const override { return ignoreSlash; }
    bool shouldTrimSpaces() const override { return false; }
    bool getIgnoreQS() const override { return false; }
    bool isPlainTextMode() const override { return false; }
    bool shouldFlagBlacklisted() const override { return flagBlacklisted; }
    double getTimeoutInterval() const override { return 30; }
    bool displayPageTitle() const override { return titles; }
    int numberOfLinksOnThisPage(const QString &) const override { return linksOnPage; }
    void later(std::function<void()> fn) override { posted.push_back(std::move(fn)); }
};

} // namespace orel::test
