#pragma once

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QQuickWindow>
#include <QString>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

namespace corvina {

/// The main window's own behaviour beside what Qt Quick draws: its two looks
/// (title shown or not, title bar plain or transparent), dragging by any point
/// while `isDraggable`, and the shake after a rejected unlock.
///
/// Attached to a QQuickWindow as its child; `find()` gives the first window of
/// the application that has one. The title text is set on the window only
/// while `titleVisible`: Linux window managers draw the title themselves, so
/// hiding it means giving them a blank one (an empty title would make Qt fall
/// back on the application name).
class DraggableWindow : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Attached to the main window by the AppDelegate")
    Q_PROPERTY(bool isDraggable READ isDraggable WRITE setIsDraggable NOTIFY isDraggableChanged)
    Q_PROPERTY(bool titleVisible READ titleVisible WRITE setTitleVisible NOTIFY titleVisibleChanged)
    Q_PROPERTY(bool titlebarAppearsTransparent READ titlebarAppearsTransparent WRITE
                   setTitlebarAppearsTransparent NOTIFY titlebarAppearsTransparentChanged)
    Q_PROPERTY(bool isShaking READ isShaking NOTIFY isShakingChanged)

public:
    /// One swing of the shake, in milliseconds, and its distance in points.
    static constexpr int shakeStepMs = 60;
    static constexpr int shakeOffset = 10;

    /// What the window manager is given while the title is hidden.
    static inline const QString hiddenTitle = QStringLiteral(" ");

    /// Attaches to the window (as its child); `title` is shown while
    /// `titleVisible`. Starts in the locked look, with the title hidden.
    DraggableWindow(QQuickWindow* window, const QString& title);

    /// The first window of the application, in the order the application
    /// lists them, that has a DraggableWindow; nullptr when none has.
    [[nodiscard]] static DraggableWindow* find();

    [[nodiscard]] QQuickWindow* window() const { return m_window; }
    [[nodiscard]] bool isDraggable() const { return m_isDraggable; }
    void setIsDraggable(bool value);
    [[nodiscard]] bool titleVisible() const { return m_titleVisible; }
    void setTitleVisible(bool value);
    [[nodiscard]] bool titlebarAppearsTransparent() const { return m_titlebarAppearsTransparent; }
    void setTitlebarAppearsTransparent(bool value);
    [[nodiscard]] bool isShaking() const { return m_shakeTimer.isActive(); }

    /// A press in the window's free area: while draggable the window manager
    /// moves the window with the pointer. Returns whether a move started.
    Q_INVOKABLE bool startSystemMove();
    /// Three swings of `shakeOffset` to the right, left and right, one per
    /// `shakeStepMs`, then back exactly where the window was.
    Q_INVOKABLE void shake();
    /// Centres the window on its screen.
    void centre();

Q_SIGNALS:
    void isDraggableChanged();
    void titleVisibleChanged();
    void titlebarAppearsTransparentChanged();
    void isShakingChanged();
    /// A press asked the window manager to move the window.
    void systemMoveRequested();

private:
    void shakeStep();

    QPointer<QQuickWindow> m_window;
    QString m_title;
    QTimer m_shakeTimer;
    QPoint m_shakeOrigin;
    int m_shakeCounter = 0;
    bool m_isDraggable = true;
    bool m_titleVisible = false;
    bool m_titlebarAppearsTransparent = true;
};

} // namespace corvina
