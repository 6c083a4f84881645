// Board presses and drag and drop with synthesized mouse and drop events: a tap posts, a move of
// 12 pixels drags instead, a drop posts the row's body with the dropped keys laid over it, and
// the row button confirms before it posts.

#include "app/base/logging.h"
#include "app/base/modal.h"
#include "board/dragdrop.h"
#include "support/testsupport.h"

#include <QDrag>
#include <QDropEvent>
#include <QJsonDocument>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Posted
{
    QString path;
    QJsonObject body;
};

// A tile whose drag is recorded instead of run: no drop loop in a test.
class RecordingTile final : public board::Draggable
{
public:
    QByteArray dragged;
    bool pictured = false;

protected:
    void runDrag(QDrag *drag) override
    {
        dragged = drag->mimeData()->data(QLatin1StringView(board::kDragMime));
        pictured = !drag->pixmap().isNull();
        drag->deleteLater();
    }
};

void mouse(QWidget *w, QEvent::Type type, QPoint at, Qt::MouseButton button, Qt::MouseButtons held)
{
    QMouseEvent event(type, at, w->mapToGlobal(at), button, held, Qt::NoModifier);
    QApplication::sendEvent(w, &event);
}

} // namespace

class TestDragDrop : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { app::setNextAnswer({}); }

    void tapOrDrag_data()
    {
        QTest::addColumn<QPoint>("move");
        QTest::addColumn<QPoint>("release");
        QTest::addColumn<int>("button");
        QTest::addColumn<bool>("posts");
        QTest::addColumn<bool>("drags");
        QTest::newRow("11 px is a tap") << QPoint(6, 5) << QPoint(46, 35) << int(Qt::LeftButton) << true << false;
        QTest::newRow("12 px drags") << QPoint(6, 6) << QPoint(46, 36) << int(Qt::LeftButton) << false << true;
        QTest::newRow("released outside") << QPoint(0, 0) << QPoint(200, 30) << int(Qt::LeftButton) << false << false;
        QTest::newRow("right button") << QPoint(0, 0) << QPoint(40, 30) << int(Qt::RightButton) << false << false;
    }
    void tapOrDrag()
    {
        QFETCH(QPoint, move);
        QFETCH(QPoint, release);
        QFETCH(int, button);
        QFETCH(bool, posts);
        QFETCH(bool, drags);
        RecordingTile tile;
        tile.resize(80, 60);
        QList<Posted> posted;
        QStringList sounds;
        tile.setPress(u"/api/tile"_s, {{u"slot"_s, 4}});
        tile.setDragPayload({{u"from"_s, u"A-04"_s}});
        tile.setCallbacks(
            [&posted](const QString &p, const QJsonObject &b) {
                posted.append({p, b});
            },
            [&sounds](const QString &s) { sounds << s; });
        const QPoint down(40, 30);
        const auto b = Qt::MouseButton(button);
        mouse(&tile, QEvent::MouseButtonPress, down, b, b);
        if (!move.isNull())
            mouse(&tile, QEvent::MouseMove, down + move, Qt::NoButton, b);
        // Even where a release reaches the tile after a drag, it is not a tap.
        mouse(&tile, QEvent::MouseButtonRelease, release, b, Qt::NoButton);
        QCOMPARE(posted.size(), posts ? 1 : 0);
        QCOMPARE(sounds, posts ? QStringList{u"select"_s} : QStringList{});
        if (posts)
            QCOMPARE(posted.first().body, (QJsonObject{{u"slot"_s, 4}}));
        QCOMPARE(tile.dragged, drags ? QByteArray(R"({"from":"A-04"})") : QByteArray());
        QCOMPARE(tile.pictured, drags);
    }

    // KESTRO_INPUT_DEBUG switches the tile traces on; unset, a tap writes none.
    void traces_data()
    {
        QTest::addColumn<bool>("on");
        QTest::newRow("unset") << false;
        QTest::newRow("set") << true;
    }
    void traces()
    {
        QFETCH(bool, on);
        if (on)
            qputenv("KESTRO_INPUT_DEBUG", "1");
        else
            qunsetenv("KESTRO_INPUT_DEBUG");
        app::applyDebugSwitches();
        static QStringList lines;
        lines.clear();
        const QtMessageHandler previous =
            qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) { lines << text; });
        board::Clickable tile;
        tile.resize(80, 60);
        tile.setTraceLabel(u"A-04"_s);
        tile.setCallbacks([](const QString &, const QJsonObject &) {}, {});
        mouse(&tile, QEvent::MouseButtonPress, QPoint(40, 30), Qt::LeftButton, Qt::LeftButton);
        mouse(&tile, QEvent::MouseButtonRelease, QPoint(41, 30), Qt::LeftButton, Qt::NoButton);
        qInstallMessageHandler(previous);
        qunsetenv("KESTRO_INPUT_DEBUG");
        app::applyDebugSwitches();
        const QStringList expected{u"    TILE press A-04 at 40,30"_s,
                                   u"    TILE release A-04 at 41,30 inside=1 post=1"_s, u"    TILE POSTS A-04"_s};
        QCOMPARE(lines, on ? expected : QStringList());
    }

    // The dropped keys win over the row's own; every other key of both stays.
    void dropMerges_data()
    {
        QTest::addColumn<QByteArray>("dropped");
        QTest::addColumn<QString>("sound");
        QTest::addColumn<QJsonObject>("body");
        const QJsonObject own{{u"level"_s, u"upper"_s}, {u"slot"_s, 1}};
        QTest::newRow("merged") << QByteArray(R"({"slot":7,"from":"A-04"})") << ""
                                << QJsonObject{{u"level"_s, u"upper"_s}, {u"slot"_s, 7}, {u"from"_s, u"A-04"_s}};
        QTest::newRow("unreadable") << QByteArray("{nope") << "drop" << own;
    }
    void dropMerges()
    {
        QFETCH(QByteArray, dropped);
        QFETCH(QString, sound);
        QFETCH(QJsonObject, body);
        board::DropRow row;
        row.resize(300, 50);
        QJsonObject element{{u"path"_s, u"/api/move"_s},
                            {u"body"_s, QJsonObject{{u"level"_s, u"upper"_s}, {u"slot"_s, 1}}}};
        if (!sound.isEmpty())
            element.insert(u"sound"_s, sound);
        row.setElement(element);
        QVERIFY(row.acceptDrops());
        QList<Posted> posted;
        QStringList sounds;
        row.setCallbacks(
            [&posted](const QString &p, const QJsonObject &b) {
                posted.append({p, b});
            },
            [&sounds](const QString &s) { sounds << s; });
        QMimeData mime;
        mime.setData(QLatin1StringView(board::kDragMime), dropped);
        // The application delivers a drop only to the widget that took the drag's entry.
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&row, &enter);
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&row, &drop);
        QCOMPARE(sounds, QStringList{sound.isEmpty() ? u"place"_s : sound});
        QCOMPARE(posted.size(), 1);
        QCOMPARE(posted.first().path, u"/api/move"_s);
        QCOMPARE(posted.first().body, body);
        QCOMPARE(drop.isAccepted(), true);
    }

    // The row button posts its path and body, after the confirmation when it asks for one.
    void rowButton_data()
    {
        QTest::addColumn<bool>("confirm");
        QTest::addColumn<bool>("accept");
        QTest::addColumn<int>("presses");
        QTest::newRow("no confirmation") << false << false << 1;
        QTest::newRow("confirmed") << true << true << 1;
        QTest::newRow("cancelled") << true << false << 0;
    }
    void rowButton()
    {
        QFETCH(bool, confirm);
        QFETCH(bool, accept);
        QFETCH(int, presses);
        QJsonObject el{{u"label"_s, u"×"_s},
                       {u"tone"_s, u"error"_s},
                       {u"tip"_s, u"Empty this position"_s},
                       {u"path"_s, u"/api/empty"_s},
                       {u"body"_s, QJsonObject{{u"slot"_s, 3}}}};
        if (confirm)
            el.insert(u"confirm"_s, QJsonObject{{u"title"_s, u"Empty A-03?"_s}});
        QList<render::Press> sent;
        QStringList cancelled;
        render::Actions actions;
        actions.press = [&sent](const render::Press &p) { sent << p; };
        actions.logLine = [&cancelled](const QString &l) { cancelled << l; };
        bool asked = false;
        app::setNextAnswer([&](QDialog *dialog) {
            asked = true;
            auto *box = qobject_cast<QMessageBox *>(dialog);
            QVERIFY(box);
            if (accept)
                box->findChild<QPushButton *>(u"confirmButton"_s)->click();
            else
                box->reject();
        });
        QWidget parent;
        QPushButton *button = board::rowActionButton(el, actions, &parent);
        QCOMPARE(button->size(), QSize(22, 22));
        QCOMPARE(button->toolTip(), u"Empty this position"_s);
        button->click();
        QCOMPARE(asked, confirm);
        QCOMPARE(sent.size(), presses);
        if (presses)
            QCOMPARE(sent.first().body, (QJsonObject{{u"slot"_s, 3}}));
        QCOMPARE(cancelled.size(), confirm && !accept ? 1 : 0);
    }
};

QTEST_MAIN(TestDragDrop)
#include "tst_dragdrop.moc"
