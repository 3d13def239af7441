// SPDX-License-Identifier: MIT
#include "controller/controller.h"

#include <utility>

using namespace Qt::StringLiterals;

void Controller::toggleTimer(const QString& description, const QString& projectId, bool billable) {
    press({m_document.workspace, m_view.timer().value(u"id").toString(), description, projectId, billable});
}

void Controller::stopTimer() {
    if (m_view.timer().isEmpty()) {
        // The last press counts: who stops does not want what waits to start either.
        m_personal.press.reset();
        return;
    }
    press({m_document.workspace, m_view.timer().value(u"id").toString(), {}, {}, false});
}

void Controller::press(const Press& press) {
    if (refusesDuringSignOut()) {
        return;
    }
    if (m_busy && press.workspace.isEmpty()) {
        say(u"Connect to the server first"_s); // nothing is known yet that could wait
        return;
    }
    // What waits is replaced: pressed twice, it is still one start or one stop.
    m_personal.press = press;
    if (m_busy) {
        say(u"The server is being asked; the timer follows as soon as that has ended."_s);
        return;
    }
    carryOutPress();
}

void Controller::carryOutPress() {
    const Press press = *std::exchange(m_personal.press, std::nullopt);
    const bool applies =
        press.workspace == m_document.workspace && press.timer == m_view.timer().value(u"id").toString();
    if (!applies) {
        say(u"The timer or the workspace is another one by now; nothing was done."_s);
        return;
    }
    if (m_view.timer().isEmpty()) {
        start(press.description, press.projectId, press.billable);
    } else if (press.moment.isValid()) {
        carryOutLeave(press);
    } else {
        stop();
    }
}

void Controller::noticeIdle() {
    // Later, so that whoever cleared `busy` has finished what it was doing.
    if (!m_busy && (m_personal.press || m_personal.nextChunk == NextChunk::Waiting)) {
        QMetaObject::invokeMethod(this, &Controller::resumeWaiting, Qt::QueuedConnection);
    }
}

void Controller::recordWaiting() {
    m_busy = false;
    if (m_personal.press) {
        carryOutPress();
    }
    Q_EMIT ending();
}

void Controller::resumeWaiting() {
    if (m_personal.press && !m_busy) {
        carryOutPress();
    }
    if (m_personal.nextChunk == NextChunk::Waiting) {
        continueImport();
    }
}
