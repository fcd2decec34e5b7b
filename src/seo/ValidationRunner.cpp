#include "seo/ValidationRunner.h"

#include <QThread>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace orel {

ValidationRunner::Owner::~Owner() = default;

ValidationRunner::ValidationRunner() = default;

ValidationRunner::~ValidationRunner()
{
    quit();
}

int ValidationRunner::pauseMs() const
{
    const double seconds = m_validationDelay;
    // No delay (or nonsense) would make the loop spin: it asks five times a second at most.
    if (!(seconds > 0) || !std::isfinite(seconds))
        return 200;
    return int(std::min(seconds, 24.0 * 3600) * 1000);
}

void ValidationRunner::start(Owner *owner)
{
    m_owner = owner;
    m_stopped = false;
    // The flag is read before the question: pages admitted just before the crawl finished are
    // found by a question asked after it, so the last question never comes too early.
    while (!m_quit) {
        const bool finished = m_crawlFinished;
        const bool found = m_owner->getNextPageToValidate();
        if (finished && !found) {
            // Ending and a new start must not cross: a start that found the loop still running
            // has asked it to go on.
            std::lock_guard lock(m_pauseMutex);
            if (!m_again) {
                m_stopped = true;
                return;
            }
            m_again = false;
        }
        pause();
    }
    m_stopped = true;
}

void ValidationRunner::pause()
{
    std::unique_lock lock(m_pauseMutex);
    m_wake.wait_for(lock, std::chrono::milliseconds(pauseMs()), [this] { return bool(m_quit); });
}

void ValidationRunner::startOnThread(Owner *owner)
{
    {
        std::lock_guard lock(m_pauseMutex);
        if (!m_stopped) {
            m_again = true;
            return;
        }
    }
    // A loop that has just ended may still be leaving its thread.
    joinThread();
    m_quit = false;
    m_again = false;
    // Running from here on, so that a second start before the thread is scheduled does nothing.
    m_stopped = false;
    m_thread.reset(QThread::create([this, owner] { start(owner); }));
    m_thread->setObjectName(QStringLiteral("validation"));
    m_thread->start();
}

void ValidationRunner::quit()
{
    {
        std::lock_guard lock(m_pauseMutex);
        m_quit = true;
    }
    m_wake.notify_all();
    joinThread();
}

void ValidationRunner::joinThread()
{
    if (m_thread) {
        m_thread->wait();
        m_thread.reset();
    }
}

} // namespace orel
