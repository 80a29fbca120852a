#include "shell/DraggableWindow.h"

#include <QGuiApplication>
#include <QScreen>

namespace corvina {

DraggableWindow::DraggableWindow(QQuickWindow* window, const QString& title)
    : QObject(window)
    , m_window(window)
    , m_title(title) {
    m_shakeTimer.setInterval(shakeStepMs);
    connect(&m_shakeTimer, &QTimer::timeout, this, &DraggableWindow::shakeStep);
    window->setTitle(hiddenTitle);
}

DraggableWindow* DraggableWindow::find() {
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (auto* draggable =
                window->findChild<DraggableWindow*>(QString(), Qt::FindDirectChildrenOnly)) {
            return draggable;
        }
    }
    return nullptr;
}

void DraggableWindow::setIsDraggable(bool value) {
    if (m_isDraggable == value) {
        return;
    }
    m_isDraggable = value;
    Q_EMIT isDraggableChanged();
}

void DraggableWindow::setTitleVisible(bool value) {
    if (m_titleVisible == value) {
        return;
    }
    m_titleVisible = value;
    if (m_window) {
        m_window->setTitle(value ? m_title : hiddenTitle);
    }
    Q_EMIT titleVisibleChanged();
}

void DraggableWindow::setTitlebarAppearsTransparent(bool value) {
    if (m_titlebarAppearsTransparent == value) {
        return;
    }
    m_titlebarAppearsTransparent = value;
    Q_EMIT titlebarAppearsTransparentChanged();
}

bool DraggableWindow::startSystemMove() {
    if (!m_isDraggable || !m_window) {
        return false;
    }
    Q_EMIT systemMoveRequested();
    return m_window->startSystemMove();
}

void DraggableWindow::shake() {
    if (!m_window) {
        return;
    }
    // A shake while shaking starts the swings over but keeps the position
    // from before the first one, so the window always ends where it was.
    if (!m_shakeTimer.isActive()) {
        m_shakeOrigin = m_window->position();
    }
    m_shakeCounter = 0;
    m_shakeTimer.start();
    Q_EMIT isShakingChanged();
}

void DraggableWindow::shakeStep() {
    if (!m_window) {
        m_shakeTimer.stop();
        Q_EMIT isShakingChanged();
        return;
    }
    if (m_shakeCounter >= 3) {
        m_window->setPosition(m_shakeOrigin);
        m_shakeTimer.stop();
        Q_EMIT isShakingChanged();
        return;
    }
    const int offset = m_shakeCounter % 2 == 0 ? shakeOffset : -shakeOffset;
    m_window->setPosition(m_shakeOrigin + QPoint(offset, 0));
    ++m_shakeCounter;
}

void DraggableWindow::centre() {
    if (!m_window || !m_window->screen()) {
        return;
    }
    const QRect available = m_window->screen()->availableGeometry();
    m_window->setPosition(available.center() -
                          QPoint(m_window->width() / 2, m_window->height() / 2));
}

} // namespace corvina
