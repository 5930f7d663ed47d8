#pragma once

#include <coroutine>
#include <memory>
#include <type_traits>
#include <utility>

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>

namespace CodeManagerApp
{

// What a coroutine of `context` waits for: the result of work on another thread. The coroutine goes on on the thread of
// `context`, from its event loop. When `context` is gone before the work is done, the coroutine ends where it waits and
// what it holds is released, so that it never touches a dead object.
template <typename Result> class Awaited
{
public:
    Awaited(QObject* context, QFuture<Result> future)
        : context_(context)
        , future_(std::move(future))
    {
    }

    // NOLINTBEGIN(readability-identifier-naming): these names are the language's.
    // Never at once, however fast the work was: what began is seen by all before it ends.
    [[nodiscard]] bool await_ready() const { return false; }

    void await_suspend(std::coroutine_handle<> coroutine)
    {
        auto* const watcher = new QFutureWatcher<Result>(context_);
        QObject::connect(watcher,
                         &QFutureWatcherBase::finished,
                         context_,
                         [watcher, suspended = std::make_shared<Suspended>(coroutine)] {
                             watcher->deleteLater();
                             std::exchange(suspended->coroutine, {}).resume();
                         });
        watcher->setFuture(future_);
    }

    Result await_resume()
    {
        if constexpr (!std::is_void_v<Result>) {
            return future_.takeResult();
        }
    }
    // NOLINTEND(readability-identifier-naming)

private:
    // Goes with the connection, and so with the context.
    struct Suspended {
        explicit Suspended(std::coroutine_handle<> waiting)
            : coroutine(waiting)
        {
        }
        Suspended(const Suspended&) = delete;
        Suspended& operator=(const Suspended&) = delete;
        ~Suspended()
        {
            if (coroutine) {
                coroutine.destroy();
            }
        }
        std::coroutine_handle<> coroutine;
    };

    QObject* context_;
    QFuture<Result> future_;
};

} // namespace CodeManagerApp
