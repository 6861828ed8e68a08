#ifndef QUARN_COMPANION_BACKGROUNDTASK_P_H
#define QUARN_COMPANION_BACKGROUNDTASK_P_H

#include <functional>

class QThreadPool;

namespace kel {

/** Is given the pool on a thread of which it runs; null when the thread is its own. */
using BackgroundTask = std::function<void(QThreadPool*)>;

/**
 * Runs \a task once on a thread of \a pool. Where there is no pool, or its owner clears it before the
 * task begins, the task gets a thread of its own; when there can be none, this call carries it out.
 *
 * Throws std::bad_alloc; then the task does not run.
 *
 * The end of the program waits for it: ~QCoreApplication(), then the end of the static objects.
 */
void startInBackground(QThreadPool* pool, BackgroundTask task);

/** Prepares the end of the program: what static objects start later on is waited for as well. */
void expectBackgroundTasks();

/** Whether the end of the program waits at the moment: nobody wants what tasks would still get. */
bool programAwaitsTasks();

} // namespace kel
#endif
