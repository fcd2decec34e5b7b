// A crawl controller on default settings for one test, with helpers to read pages into it
// directly and to run whole crawls; main thread.
#pragma once

#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"
#include "engine/LinkCheckerHub.h"
#include "links/LinkCheckerUrl.h"

#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QSignalSpy>
#include <QTimer>

#include <memory>

namespace orel::test {

class HubTest : public ::testing::Test
{
protected:
    SettingsControls controls;
    OrelConfigManager manager { &controls };
    std::unique_ptr<LinkCheckerHub> hub;

    void SetUp() override
    {
        resetDialogs();
        controls.setDefaults();
        controls.timeoutField = 10;
    }

    void newHub() { hub = std::make_unique<LinkCheckerHub>(&controls, &manager); }

    // Defaults, then "name=value" settings separated by ';' (a table row's settings column).
    void settings(const char *list)
    {
        controls.setDefaults();
        const QString text = QString::fromUtf8(list);
        for (const QString &s : text.split(QLatin1Char(';'), Qt::SkipEmptyParts))
            ASSERT_TRUE(controls.setByName(s.section('=', 0, 0), s.section('=', 1))) << list;
    }

    // A crawl run that is paused at once, so pages can be read into it by hand. Its internal
    // host is site.test; the start record is a local file that is never fetched.
    void pausedHub()
    {
        start(QStringLiteral("file:///orrelwick-no-such-start.html"));
        hub->stop();
        LinkCheckerUrl probe(nullptr);
        probe.setLinkUrl(QStringLiteral("http://site.test/"), false);
        hub->resetDomain(&probe);
    }

    LinkCheckerUrl *addPage(const QString &url, int distance = 0)
    {
        auto record = std::make_unique<LinkCheckerUrl>(hub.get());
        record->setLinkUrl(url, SettingsControls::isOn(controls.qsButton));
        record->setDistanceFromHome(distance);
        return hub->add(std::move(record));
    }

    // Reads the page as if its fetch had just finished with a 200 answer.
    void read(LinkCheckerUrl *page, const QByteArray &html,
              const QString &status = QStringLiteral("200 no error"))
    {
        page->setData(html);
        page->setStatus(status);
        hub->extractLinks(page);
    }

    LinkCheckerUrl *byUrl(const QString &url) const { return hub->getLinkCheckerUrlWithUrl(url); }

    // Runs the event loop until the crawl under way finishes or the time is up.
    bool runToEnd(int timeoutMs = 30000)
    {
        QSignalSpy finished(hub.get(), &LinkCheckerHub::crawlFinishedSignal);
        return hub->isCrawlFinished() || finished.wait(timeoutMs);
    }

    // Starts a crawl of url (on a new hub when there is none) and runs it to its end.
    bool crawl(const QString &url)
    {
        start(url, !hub);
        return runToEnd();
    }

    // Starts a run of url, on a new hub when asked.
    void start(const QString &url, bool fresh = true)
    {
        if (fresh)
            newHub();
        controls.urlField = url;
        hub->go();
    }

    // Runs the event loop for a while (queued calls and delayed starts).
    static void spin(int ms)
    {
        QEventLoop loop;
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        loop.exec();
    }
};

} // namespace orel::test
