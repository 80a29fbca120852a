#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>

#include <utility>

namespace corvina {

/// Calls `handler` with the future's result on the receiver's thread once the
/// future has finished (a cancelled future has none to give). When the receiver is gone by then (a
/// screen closed by a lock while its work ran), nothing is called: the watcher goes with it.
///
/// Unlike `QFuture::then(context, …)`, a receiver that dies first is no
/// programming error here.
template <typename T, typename Handler>
void whenFinished(QObject* receiver, const QFuture<T>& future, Handler handler) {
    auto* watcher = new QFutureWatcher<T>(receiver);
    QObject::connect(watcher, &QFutureWatcherBase::finished, receiver,
                     [watcher, handler = std::move(handler)]() mutable {
                         watcher->deleteLater();
                         if (!watcher->isCanceled()) {
                             handler(watcher->result());
                         }
                     });
    watcher->setFuture(future);
}

} // namespace corvina
