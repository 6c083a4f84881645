#include "app/offline.h"

#include "app/base/logging.h"
#include "app/base/theme.h"
#include "app/pngwriter.h"
#include "prims/json.h"
#include "prims/textlabel.h"
#include "render/screen.h"
#include "window/sidebar.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QFile>
#include <QGraphicsView>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLayout>
#include <QSaveFile>
#include <QScrollArea>
#include <QTextStream>
#include <QVBoxLayout>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace app {

namespace {

void print(FILE *stream, const QString &text)
{
    QTextStream ts(stream);
    ts << text;
}

QStringList coveredLabels(const QJsonObject &endpoints)
{
    QStringList labels;
    QStringList keys = endpoints.keys();
    keys.sort();
    for (const QString &key : keys) {
        // "covers" is one name or a list of names; anything else names nothing.
        const QJsonObject endpoint = endpoints.value(key).toObject();
        if (const QString one = prims::readName(endpoint, "covers"_L1); !one.isEmpty())
            labels << one;
        for (const QJsonValue &v : prims::readArray(endpoint, "covers"_L1, 4000)) {
            if (v.isString())
                labels << v.toString();
        }
    }
    return labels;
}

prims::TextLabel *styledLabel(const QString &text, const QFont &font, const QString &sheet, QWidget *parent)
{
    auto *label = new prims::TextLabel(text, parent);
    label->setFont(font);
    label->setWordWrap(true);
    label->setStyleSheet(sheet);
    return label;
}

int heightForWidthOr(const QWidget *w, int fallback)
{
    return w->hasHeightForWidth() ? w->heightForWidth(w->width()) : fallback;
}

void logFrames(QWidget *page)
{
    for (QGraphicsView *view : page->findChildren<QGraphicsView *>()) {
        const QPoint at = view->mapTo(page, QPoint(0, 0));
        qCDebug(lcFrame, "view at %d,%d size %dx%d min %d max %d", at.x(), at.y(), view->width(), view->height(),
                view->minimumHeight(), view->maximumHeight());
        QWidget *p = view->parentWidget();
        for (int i = 0; i < 4 && p; ++i, p = p->parentWidget()) {
            qCDebug(lcFrame, "   parent%d %s %dx%d hint %dx%d", i, p->metaObject()->className(), p->width(),
                    p->height(), p->sizeHint().width(), p->sizeHint().height());
        }
    }
    for (QWidget *w : page->findChildren<QWidget *>()) {
        if (!w->isVisible() || w->height() <= 20 || w->minimumSizeHint().height() <= w->height() + 40)
            continue;
        qCDebug(lcFrame, "   MIN-INFLATED %s '%s' %dx%d minhint %dx%d hfw %d", w->metaObject()->className(),
                qPrintable(w->objectName().left(20)), w->width(), w->height(), w->minimumSizeHint().width(),
                w->minimumSizeHint().height(), heightForWidthOr(w, -1));
    }
    qCDebug(lcFrame, "page %dx%d hint %d hfw %d", page->width(), page->height(), page->sizeHint().height(),
            heightForWidthOr(page, -1));
}

void settle(QWidget *w)
{
    if (w->layout())
        w->layout()->activate();
    QCoreApplication::processEvents();
}

// Writes the shot only when the whole PNG could be saved.
bool savePng(const QPixmap &shot, const QString &out)
{
    QSaveFile file(out);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    if (!writePng(shot.toImage(), &file))
        return false;
    return file.commit();
}

} // namespace

QSize parseSize(const QString &text)
{
    const QStringList pieces = text.split(u'x');
    const int width = pieces.value(0).toInt();
    const int height = pieces.size() > 1 ? pieces.at(1).toInt() : 0;
    if (width < 0 || height < 0)
        return {1240, 900};
    return {width, height};
}

render::Actions bundleActions(const QJsonObject &endpoints)
{
    render::Actions actions;
    actions.fetch = [endpoints](const QString &path) { return endpoints.value(path).toObject(); };
    actions.covered = [labels = coveredLabels(endpoints)](const QString &label) { return labels.contains(label); };
    return actions;
}

QList<std::pair<units::Unit, bool>> bundleUnits(const QJsonArray &array)
{
    QList<std::pair<units::Unit, bool>> out;
    for (const QJsonValue &v : array) {
        const QJsonObject o = v.toObject();
        units::Unit u;
        u.name = prims::readText(o, "hostname"_L1);
        u.ip = prims::readText(o, "ip"_L1);
        const int port = prims::readInt(o, "port"_L1, 8090, 0, 65535);
        u.port = port > 0 ? port : 8090;
        u.type = prims::readName(o, "product"_L1);
        u.state = o;
        out.append({u, prims::readFlag(o, "session"_L1, false)});
    }
    return out;
}

QWidget *chromeShell(const QJsonObject &description, QWidget *screen, const QJsonArray &unitArray)
{
    auto *outer = new QWidget;
    auto *row = new QHBoxLayout(outer);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);

    auto *sidebar = new window::Sidebar(outer);
    QList<units::Unit> list;
    const auto entries = bundleUnits(unitArray);
    for (const auto &[unit, session] : entries) {
        list.append(unit);
        sidebar->setSignedIn(u"%1:%2"_s.arg(unit.ip).arg(unit.port), session);
    }
    sidebar->setUnits(list);
    for (const auto &[unit, session] : entries)
        if (session)
            sidebar->setCurrent(unit.key());
    sidebar->setScanning(false);
    row->addWidget(sidebar);

    auto *column = new QWidget(outer);
    auto *box = new QVBoxLayout(column);
    box->setContentsMargins(14, 12, 14, 0);
    box->setSpacing(2);

    auto *header = new QWidget(column);
    auto *headerRow = new QHBoxLayout(header);
    headerRow->setContentsMargins(0, 0, 0, 0);
    headerRow->addWidget(
        styledLabel(prims::readText(description, "title"_L1), theme::uiFont(18, true), QString(), header), 1);
    const QJsonObject badge = prims::readObject(description, "badge"_L1);
    const QString tone = prims::readName(badge, "tone"_L1);
    prims::TextLabel *badgeLabel = styledLabel(prims::readText(badge, "label"_L1), theme::uiFont(9, true),
                                               u"color:%1; background:%2;border-radius:8px; padding:2px 8px;"_s.arg(
                                                   theme::toneColor(tone).name(), theme::toneSoft(tone).name()),
                                               header);
    // The badge asks for its text on one line, and breaks it only when the header is too narrow.
    badgeLabel->setPrefersOneLine(true);
    headerRow->addWidget(badgeLabel);
    box->addWidget(header);

    QString subtitle = prims::readText(description, "subtitle"_L1);
    const QString signedInAs = prims::readText(description, "signed_in_as"_L1);
    if (!signedInAs.isEmpty())
        subtitle += u"   |   signed in as "_s + signedInAs;
    box->addWidget(styledLabel(subtitle, theme::uiFont(10), u"color:%1;"_s.arg(theme::palette().muted.name()), column));
    screen->setParent(column);
    box->addWidget(screen, 1);
    row->addWidget(column, 1);
    return outer;
}

int renderOnce(const QString &file, const QString &out, QSize size, bool chrome)
{
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly)) {
        print(stderr, u"render: cannot read "_s + file + u'\n');
        return 2;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(in.readAll(), &error);
    if (error.error != QJsonParseError::NoError) {
        print(stderr, u"render: "_s + file + u" is not JSON: "_s + error.errorString() + u'\n');
        return 2;
    }
    const QJsonObject top = doc.object();
    const QJsonObject description = top.contains("screen"_L1) ? top.value("screen"_L1).toObject() : top;
    const render::Actions actions = bundleActions(prims::readObject(top, "endpoints"_L1));

    QWidget *screen = render::screen(description, actions, nullptr);
    std::unique_ptr<QWidget> page(chrome ? chromeShell(description, screen, top.value("units"_L1).toArray()) : screen);
    page->setObjectName(u"window"_s);
    page->setStyleSheet(theme::styleSheet());
    page->setFixedWidth(size.width());
    qputenv("KESTRO_RENDER_H", QByteArray::number(size.height()));
    page->resize(size);
    page->setAttribute(Qt::WA_DontShowOnScreen);

    const bool frameDebug = lcFrame().isDebugEnabled();
    bool ok = false;
    const int scrollHeight = qEnvironmentVariableIntValue("KESTRO_RENDER_SCROLL_H", &ok);
    if (ok && scrollHeight > 0) {
        QScrollArea area;
        area.setObjectName(u"window"_s);
        area.setStyleSheet(theme::styleSheet());
        area.setWidgetResizable(true);
        area.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        area.setFixedSize(size.width(), scrollHeight);
        qputenv("KESTRO_RENDER_H", QByteArray::number(scrollHeight));
        area.setWidget(page.release());
        area.setAttribute(Qt::WA_DontShowOnScreen);
        area.show();
        for (int pass = 0; pass < 24; ++pass)
            settle(area.widget());
        if (!savePng(area.grab(area.rect()), out)) {
            print(stderr, u"render: cannot write "_s + out + u'\n');
            return 2;
        }
        print(stdout, u"rendered %1  %2x%3 (scroll)\n"_s.arg(out).arg(size.width()).arg(scrollHeight));
        return 0;
    }

    page->show();
    int height = size.height();
    for (int pass = 0;; ++pass) {
        page->resize(size.width(), height);
        settle(page.get());
        int want = page->hasHeightForWidth() ? page->heightForWidth(size.width()) : page->sizeHint().height();
        want = std::max(size.height(), want);
        qCDebug(lcFrame, "render pass %d: height %d want %d", pass, height, want);
        if ((want == height && pass >= 8) || pass + 1 >= 24)
            break;
        height = want;
    }
    if (frameDebug)
        logFrames(page.get());
    if (!savePng(page->grab(page->rect()), out)) {
        print(stderr, u"render: cannot write "_s + out + u'\n');
        return 2;
    }
    print(stdout, u"rendered %1  %2x%3\n"_s.arg(out).arg(size.width()).arg(page->height()));
    return 0;
}

} // namespace app
