// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/CallbackExecutor.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QThread>
#include <functional>
#include <memory>
#include <utility>

namespace orx {

// Runs callbacks in the event loop of the thread that calls this, mostly the main one, in the order
// in which they were reported. When that loop has ended, the host takes the executor away: what the
// loop has not run goes back to the library then. For a host that uses Qt, 5.10 or later; the
// library does not.
//
//   orx::setCallbackExecutor(orx::qtCallbackExecutor(), orx::CallbackScope::Everything);
//   const int status = application.exec();
//   orx::setCallbackExecutor({});
inline CallbackExecutor qtCallbackExecutor() {
  // Stands for the loop of its thread, and may be destroyed there alone.
  const std::shared_ptr<QObject> receiver(new QObject, [](QObject* object) {
    if (object->thread() == QThread::currentThread()) {
      delete object;
    } else {
      // Nobody would, where the loop has ended.
      QCoreApplication::removePostedEvents(object);
      object->deleteLater();
    }
  });
  return [receiver](std::function<void()> block) {
    QMetaObject::invokeMethod(receiver.get(), std::move(block), Qt::QueuedConnection);
  };
}

}  // namespace orx
