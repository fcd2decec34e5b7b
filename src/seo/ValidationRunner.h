// Feeds pages to the HTML validation one at a time, with a pause between two, on a thread of its
// own; its loop runs on that thread, the rest is called from the main thread.
#pragma once

#include <QtGlobal>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

class QThread;

namespace orel {

// The runner only asks its owner for the next page and sleeps: the owner starts every request on
// the main thread. While the crawl runs the runner keeps asking even when no page is waiting;
// once the crawl has finished it ends at the first question that finds no page.
class ValidationRunner
{
public:
    // What the runner asks, from its own thread.
    class Owner
    {
    public:
        virtual ~Owner();
        // Hands the next page to the main thread and answers true, or answers false.
        virtual bool getNextPageToValidate() = 0;
    };

    ValidationRunner();
    // Ends the loop (waking it from its pause) and waits for its thread.
    ~ValidationRunner();
    Q_DISABLE_COPY(ValidationRunner)

    void setCrawlFinished(bool on) { m_crawlFinished = on; }
    bool crawlFinished() const { return m_crawlFinished; }
    // Seconds between two questions; 0 (or less) means 0.2.
    void setValidationDelay(double seconds) { m_validationDelay = seconds; }
    double validationDelay() const { return m_validationDelay; }
    // The pause the loop takes, in milliseconds.
    int pauseMs() const;

    // The loop itself, on the calling thread, until it ends.
    void start(Owner *owner);
    // start() on a new thread; when the loop is running already, it goes on for at least one
    // more round of questions instead.
    void startOnThread(Owner *owner);
    bool isRunning() const { return !m_stopped; }
    // Ends the loop at its next pause (or question) and waits for the thread; main thread.
    void quit();

private:
    void pause();
    void joinThread();

    Owner *m_owner = nullptr;
    std::atomic<bool> m_crawlFinished { false };
    std::atomic<bool> m_stopped { true };
    std::atomic<bool> m_quit { false };
    bool m_again = false; // guarded by m_pauseMutex
    std::atomic<double> m_validationDelay { 1.0 };
    // Wakes the pause early when the runner is told to quit.
    std::mutex m_pauseMutex;
    std::condition_variable m_wake;
    std::unique_ptr<QThread> m_thread;
};

} // namespace orel
