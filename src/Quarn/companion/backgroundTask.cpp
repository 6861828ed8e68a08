#include <Quarn/companion/backgroundTask_p.h>

#include <Quarn/platform/ProcessEnd_p.h>

#include <QCoreApplication>
#include <QMutex>
#include <QMutexLocker>
#include <QRunnable>
#include <QThreadPool>
#include <QWaitCondition>

#include <atomic>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace kel {
namespace {

thread_local int tasksOfThisThread = 0;

/** How many tasks have been started and have not ended. */
class OpenTasks
{
public:
    void add()
    {
        const QMutexLocker locker(&m_mutex);
        ++m_count;
    }

    void remove()
    {
        const QMutexLocker locker(&m_mutex);
        --m_count;
        m_changed.wakeAll();
    }

    /** Waits for all but those that this thread is in the middle of: a task may end the program. */
    void wait()
    {
        if (m_process != QCoreApplication::applicationPid() || otherThreadsHaveEnded())
            return; // the child of a fork() has no threads but one
        const QMutexLocker locker(&m_mutex);
        m_isAwaited = true;
        while (m_count > tasksOfThisThread)
            m_changed.wait(&m_mutex);
        m_isAwaited = false;
    }

    bool isAwaited() const { return m_isAwaited; }

private:
    const qint64 m_process = QCoreApplication::applicationPid();
    QMutex m_mutex;
    QWaitCondition m_changed;
    int m_count = 0; // guarded by m_mutex
    std::atomic<bool> m_isAwaited{false};
};

/** Never destroyed, as tasks may outlive every static object. */
OpenTasks& openTasks()
{
    static OpenTasks& tasks = *new OpenTasks;
    return tasks;
}

void waitForTasks()
{
    openTasks().wait();
}

class EndOfProgram
{
public:
    EndOfProgram()
    {
        openTasks();
        qAddPostRoutine(waitForTasks);
        callBeforeThreadsEnd(waitForTasks);
    }
    EndOfProgram(const EndOfProgram&) = delete;
    EndOfProgram& operator=(const EndOfProgram&) = delete;
    ~EndOfProgram()
    {
        qRemovePostRoutine(waitForTasks);
        waitForTasks();
    }
};

/** A task that counts as open from its making to its end. */
class OpenTask
{
public:
    explicit OpenTask(BackgroundTask task) : m_task(std::move(task)) { openTasks().add(); }
    OpenTask(const OpenTask&) = delete;
    OpenTask& operator=(const OpenTask&) = delete;
    ~OpenTask()
    {
        m_task = nullptr; // with all that it keeps alive
        openTasks().remove();
    }

    void run(QThreadPool* pool)
    {
        ++tasksOfThisThread;
        m_task(pool);
        --tasksOfThisThread;
    }

private:
    BackgroundTask m_task;
};

void runOnOwnThread(std::unique_ptr<OpenTask> task)
{
    const auto run = [own = task.get()] { std::unique_ptr<OpenTask>(own)->run(nullptr); };
    bool isStarted = false;
    try {
        std::thread(run).detach();
        isStarted = true;
    } catch (const std::system_error&) {
    } catch (const std::bad_alloc&) { }
    OpenTask* const own = task.release(); // of the thread, if there is one
    if (!isStarted)
        std::unique_ptr<OpenTask>(own)->run(nullptr); // late is better than never
}

class PooledTask : public QRunnable
{
public:
    PooledTask(QThreadPool* pool, std::unique_ptr<OpenTask> task)
        : m_pool(pool), m_task(std::move(task))
    { }
    ~PooledTask() override
    {
        if (m_task) // QThreadPool::clear()
            runOnOwnThread(std::move(m_task));
    }

    void run() override { std::exchange(m_task, nullptr)->run(m_pool); }

private:
    QThreadPool* const m_pool; // waits for this object in its destructor
    std::unique_ptr<OpenTask> m_task;
};

} // namespace

void expectBackgroundTasks()
{
    static const EndOfProgram endOfProgram;
}

bool programAwaitsTasks()
{
    return openTasks().isAwaited();
}

void startInBackground(QThreadPool* pool, BackgroundTask task)
{
    expectBackgroundTasks();
    auto open = std::make_unique<OpenTask>(std::move(task));
    if (!pool)
        return runOnOwnThread(std::move(open));
    auto pooled = std::make_unique<PooledTask>(pool, std::move(open));
    try {
        pool->start(pooled.get());
        (void)pooled.release(); // the pool deletes it, and maybe has already
    } catch (const std::bad_alloc&) {
        return; // what the pool has no memory for gets a thread of its own with its end
    }
}

} // namespace kel
