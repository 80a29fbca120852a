// The monitor on the real event loop with short intervals, fed with input
// events on a real window of the offscreen platform.

#include "engine/ApplicationIdentity.h"
#include "session/InactivityMonitor.h"
#include "session/SessionState.h"

#include <QGuiApplication>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <cmath>
#include <functional>
#include <memory>

using namespace corvina;
using namespace Qt::StringLiterals;

namespace {

const QPoint clickPoint(20, 20);

// Hands one kind of input to the window.
using Deliver = std::function<void(QWindow&)>;

void send(QObject& target, QEvent&& event) {
    QCoreApplication::sendEvent(&target, &event);
}

QMouseEvent mouseEvent(QEvent::Type type, Qt::MouseButton button, Qt::MouseButtons held) {
    return QMouseEvent(type, clickPoint, clickPoint, button, held, Qt::NoModifier);
}

} // namespace

Q_DECLARE_METATYPE(Deliver)

class InactivityMonitorLogsOutWhenIdle : public QObject {
    Q_OBJECT

    QWindow window;

    // A monitor and its session as the application wires them: the time-out
    // locks the session.
    struct Session {
        InactivityMonitor monitor;
        SessionState state{monitor};
        int timeouts = 0;

        Session(bool autoLogout, double interval) {
            monitor.setIsAutoLogoutEnabled(autoLogout);
            monitor.setTimeoutInterval(interval);
            monitor.onTimeout = [this] {
                ++timeouts;
                state.setIsAuthenticated(false);
            };
        }
    };

    static bool isArmed(const InactivityMonitor& monitor) {
        return monitor.inactivityTimer() != nullptr && monitor.inactivityTimer()->isActive() &&
               monitor.countdownTimer() != nullptr && monitor.countdownTimer()->isActive() &&
               monitor.hasEventMonitor();
    }
    static bool isIdle(const InactivityMonitor& monitor) {
        return monitor.inactivityTimer() == nullptr && monitor.countdownTimer() == nullptr &&
               !monitor.hasEventMonitor();
    }

private Q_SLOTS:
    void initTestCase() {
        applyApplicationIdentity();
        window.resize(200, 100);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }

    void init() { QSettings().clear(); }

    // Values of another type, or intervals no timer can run, give the defaults.
    void strangeStoredValuesGiveTheDefaults_data() {
        QTest::addColumn<QVariant>("enabled");
        QTest::addColumn<QVariant>("interval");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("nothing stored") << QVariant() << QVariant() << QByteArray("false 600 600");
        QTest::newRow("text") << QVariant("yes") << QVariant("soon") << QByteArray("false 600 600");
        QTest::newRow("negative") << QVariant("1") << QVariant("-5") << QByteArray("false 600 600");
        QTest::newRow("zero") << QVariant("true") << QVariant(0) << QByteArray("true 600 600");
        QTest::newRow("not a number")
            << QVariant() << QVariant("nan") << QByteArray("false 600 600");
        QTest::newRow("beyond any timer")
            << QVariant() << QVariant("1e300") << QByteArray("false 600 600");
        QTest::newRow("boolean interval")
            << QVariant() << QVariant(true) << QByteArray("false 600 600");
        QTest::newRow("plain values")
            << QVariant(true) << QVariant(300.0) << QByteArray("true 300 300");
    }
    void strangeStoredValuesGiveTheDefaults() {
        QFETCH(QVariant, enabled);
        QFETCH(QVariant, interval);
        QFETCH(QByteArray, expected);
        {
            QSettings settings;
            if (enabled.isValid()) {
                settings.setValue(u"isAutoLogoutEnabled"_s, enabled);
            }
            if (interval.isValid()) {
                settings.setValue(u"LogoutTimeout"_s, interval);
            }
        }
        const InactivityMonitor monitor;
        QCOMPARE(u"%1 %2 %3"_s.arg(monitor.isAutoLogoutEnabled() ? u"true"_s : u"false"_s)
                     .arg(monitor.timeoutInterval())
                     .arg(monitor.remainingTime())
                     .toUtf8(),
                 expected);
    }

    // The countdown shows whole seconds left and the time-out locks the
    // session after the full interval.
    void idleTimeLocksTheSession() {
        Session session(true, 2.5);
        QSignalSpy locked(&session.state, &SessionState::isAuthenticatedChanged);
        QList<double> shown;
        connect(&session.monitor, &InactivityMonitor::remainingTimeChanged, this,
                [&] { shown << session.monitor.remainingTime(); });
        QElapsedTimer clock;
        clock.start();
        session.state.setIsAuthenticated(true);
        QVERIFY(isArmed(session.monitor));

        QTRY_VERIFY_WITH_TIMEOUT(!session.state.isAuthenticated(), 5000);
        QVERIFY(clock.elapsed() >= 2490);
        QCOMPARE(shown, (QList<double>{2.5, 1.5, 0.5}));
        QCOMPARE(session.timeouts, 1);
        QCOMPARE(locked.count(), 2);
        QVERIFY(!session.monitor.isAuthenticated());
        QVERIFY(isIdle(session.monitor));
    }

    // Intervals set through the property that no timer can hold: the longest
    // timer instead, or an immediate time-out for none at all.
    void intervalsBeyondTheTimersRange_data() {
        QTest::addColumn<double>("interval");
        QTest::addColumn<bool>("timesOut");
        QTest::newRow("huge") << 1e12 << false;
        QTest::newRow("negative") << -1.0 << true;
        QTest::newRow("not a number") << std::nan("") << true;
    }
    void intervalsBeyondTheTimersRange() {
        QFETCH(double, interval);
        QFETCH(bool, timesOut);
        Session session(true, interval);
        session.state.setIsAuthenticated(true);
        if (timesOut) {
            QTRY_COMPARE_WITH_TIMEOUT(session.timeouts, 1, 1000);
        } else {
            QVERIFY(session.monitor.inactivityTimer()->remainingTime() > 2'000'000'000);
            QTest::qWait(100);
            QCOMPARE(session.timeouts, 0);
        }
    }

    void activityStartsTheTimeOver_data() {
        QTest::addColumn<Deliver>("deliver");
        QTest::addColumn<bool>("counts");
        const auto click = [](Qt::MouseButton button) {
            return Deliver([button](QWindow& w) { QTest::mouseClick(&w, button, {}, clickPoint); });
        };
        const auto keyEvent = [](QEvent::Type type) {
            return QKeyEvent(type, Qt::Key_A, Qt::NoModifier, u"a"_s);
        };
        QTest::newRow("left click") << click(Qt::LeftButton) << true;
        QTest::newRow("right click") << click(Qt::RightButton) << true;
        QTest::newRow("middle click") << click(Qt::MiddleButton) << false;
        QTest::newRow("mouse move") << Deliver([](QWindow& w) {
            QTest::mouseMove(&w, QPoint(30, 30));
            QTest::mouseMove(&w, QPoint(40, 35));
        }) << true;
        QTest::newRow("key click")
            << Deliver([](QWindow& w) { QTest::keyClick(&w, Qt::Key_A); }) << true;
        QTest::newRow("move with button held") << Deliver([](QWindow& w) {
            send(w, mouseEvent(QEvent::MouseMove, Qt::NoButton, Qt::LeftButton));
        }) << false;
        QTest::newRow("key release alone")
            << Deliver([keyEvent](QWindow& w) { send(w, keyEvent(QEvent::KeyRelease)); }) << false;
        QTest::newRow("wheel") << Deliver([](QWindow& w) {
            send(w, QWheelEvent(clickPoint, clickPoint, {}, {0, 120}, Qt::NoButton, Qt::NoModifier,
                                Qt::NoScrollPhase, false));
        }) << false;
    }
    void activityStartsTheTimeOver() {
        QFETCH(Deliver, deliver);
        QFETCH(bool, counts);
        // A press away from the cursor brings a move along: start at the
        // point of the clicks.
        QTest::mouseMove(&window, clickPoint);
        Session session(true, 5.0);
        session.state.setIsAuthenticated(true);
        QTest::qWait(400);
        const int before = session.monitor.inactivityTimer()->remainingTime();
        QVERIFY(before <= 4650);

        deliver(window);

        const int after = session.monitor.inactivityTimer()->remainingTime();
        if (counts) {
            QVERIFY2(after > 4900, qPrintable(QString::number(after)));
        } else {
            QVERIFY2(after <= before + 20, qPrintable(QString::number(after)));
        }
    }

    // A new interval starts the countdown over at once; a lock stops
    // everything, and the next unlock starts from the full interval.
    void intervalChangeLockAndUnlockStartOver() {
        Session session(true, 5.0);
        session.state.setIsAuthenticated(true);
        QTRY_COMPARE_WITH_TIMEOUT(session.monitor.remainingTime(), 4.0, 2000);

        session.monitor.setTimeoutInterval(3.0);
        QCOMPARE(session.monitor.remainingTime(), 3.0);
        QVERIFY(session.monitor.inactivityTimer()->remainingTime() > 2900);

        session.state.setIsAuthenticated(false);
        QVERIFY(isIdle(session.monitor));
        QTest::keyClick(&window, Qt::Key_A);
        QTest::mouseMove(&window, QPoint(50, 50));
        QVERIFY(isIdle(session.monitor));

        session.state.setIsAuthenticated(true);
        QVERIFY(isArmed(session.monitor));
        QCOMPARE(session.monitor.remainingTime(), 3.0);
    }

    // With the option off an unlock starts nothing and input changes nothing;
    // switching it on and off starts and stops the monitor.
    void switchingTheOptionStartsAndStops() {
        Session session(false, 0.3);
        session.state.setIsAuthenticated(true);
        QVERIFY(isIdle(session.monitor));
        QTest::keyClick(&window, Qt::Key_A);
        QTest::qWait(500);
        QVERIFY(isIdle(session.monitor));
        QCOMPARE(session.timeouts, 0);
        QSignalSpy changed(&session.monitor, &InactivityMonitor::isAutoLogoutEnabledChanged);

        session.monitor.setTimeoutInterval(5.0);
        session.monitor.setIsAutoLogoutEnabled(true);
        QVERIFY(isArmed(session.monitor));
        session.monitor.setIsAutoLogoutEnabled(false);
        QVERIFY(isIdle(session.monitor));
        QTest::keyClick(&window, Qt::Key_A);
        QVERIFY(isIdle(session.monitor));
        QCOMPARE(changed.count(), 2);
        QVERIFY(session.state.isAuthenticated());
    }

    // Each unlock leaves a listener behind; they must die with the monitor.
    void eventsAfterTheMonitorIsGoneAreHarmless() {
        auto session = std::make_unique<Session>(true, 5.0);
        for (int i = 0; i < 3; ++i) {
            session->state.setIsAuthenticated(true);
            session->state.setIsAuthenticated(false);
        }
        session->state.setIsAuthenticated(true);
        session.reset();
        QTest::keyClick(&window, Qt::Key_A);
        QTest::mouseMove(&window, QPoint(60, 40));
    }
};

int main(int argc, char** argv) {
    // Settings go to a scratch folder.
    QTemporaryDir configHome;
    qputenv("XDG_CONFIG_HOME", configHome.path().toUtf8());
    QGuiApplication application(argc, argv);
    InactivityMonitorLogsOutWhenIdle test;
    return QTest::qExec(&test, argc, argv);
}

#include "InactivityMonitorLogsOutWhenIdle.moc"
