// What an in-place panel update saves, against a baseline measured in the same process and run
// (medians of interleaved rounds, each round's work settled: posted events handled, deferred
// deletes done):
//   progress: patching a progress panel of the 200-element screen in place, against rebuilding
//             that whole screen (target at most 0.05x);
//   board:    updating the simulator's site board in place (the carriage one lane on), against
//             building that board anew (target at most 0.2x).
// It also reports the process's resident memory before and after 1000 in-place board updates.
//
//   bench_panels [ROUNDS]

#include "bench/benchsupport.h"
#include "board/panels.h"
#include "board/siteboard.h"
#include "render/screen.h"

#include "app/base/theme.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <unistd.h>

using namespace Qt::StringLiterals;

using bench::median;
using bench::settle;

namespace {

double ms(const std::function<void()> &work)
{
    QElapsedTimer t;
    t.start();
    work();
    settle();
    return double(t.nsecsElapsed()) / 1e6;
}

long residentKb()
{
    QFile f(u"/proc/self/statm"_s);
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = f.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toLong() * (sysconf(_SC_PAGESIZE) / 1024) : -1;
}

QJsonObject progress(int current)
{
    return {{u"total"_s, 40}, {u"current"_s, current}, {u"label"_s, u"sweeping the rail"_s}, {u"running"_s, true}};
}

// The simulator's board: two racks of eight positions, the carriage, two lifts and the rail.
QJsonObject boardAt(int lane)
{
    const auto rack = [](const QString &id) {
        QJsonArray tiles;
        for (int i = 0; i < 8; ++i)
            tiles.append(QJsonObject{{u"id"_s, u"%1-%2"_s.arg(id).arg(i)},
                                     {u"label"_s, u"%1-%2"_s.arg(id).arg(i)},
                                     {u"note"_s, u"tote 44%1"_s.arg(i)},
                                     {u"state"_s, i % 3 ? u"ok"_s : u"idle"_s},
                                     {u"path"_s, u"/api/action/board"_s},
                                     {u"drag"_s, QJsonObject{{u"from"_s, i}}}});
        return QJsonObject{{u"id"_s, id},
                           {u"label"_s, id},
                           {u"tiles"_s, tiles},
                           {u"drop"_s, QJsonObject{{u"path"_s, u"/api/action/board"_s}}},
                           {u"actions"_s, QJsonArray{QJsonObject{{u"label"_s, u"R"_s}, {u"path"_s, u"/x"_s}}}}};
    };
    const QJsonObject carriage{{u"id"_s, u"carriage"_s},
                               {u"kind"_s, u"carriage"_s},
                               {u"lane"_s, lane},
                               {u"label"_s, u"Shuttle"_s},
                               {u"state"_s, u"busy"_s}};
    const QJsonArray lifts{QJsonObject{{u"id"_s, u"l1"_s}, {u"kind"_s, u"lift"_s}, {u"lane"_s, 0}},
                           QJsonObject{{u"id"_s, u"l2"_s}, {u"kind"_s, u"lift"_s}, {u"lane"_s, 7}}};
    return {{u"title"_s, u"Aisle A"_s},
            {u"lanes"_s, 8},
            {u"rows"_s, QJsonArray{rack(u"U"_s), QJsonObject{{u"id"_s, u"rail"_s}, {u"tiles"_s, QJsonArray{carriage}}},
                                   QJsonObject{{u"id"_s, u"lifts"_s}, {u"tiles"_s, lifts}}, rack(u"L"_s)}},
            {u"track"_s, QJsonObject{{u"length_mm"_s, 48000}, {u"carriage_mm"_s, lane * 6000}}}};
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // As the program runs: under the theme's application style sheet (KESTRO_BENCH_NO_SHEET=1
    // measures without it).
    if (!qEnvironmentVariableIsSet("KESTRO_BENCH_NO_SHEET"))
        app.setStyleSheet(theme::styleSheet());
    board::install();
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 31;

    QFile file(QStringLiteral(KESTRO_SOURCE_DIR "/bench/screen-200.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "bench_panels: cannot read bench/screen-200.json\n");
        return 2;
    }
    QJsonObject screen = QJsonDocument::fromJson(file.readAll()).object();
    QJsonArray sections = screen.value("sections"_L1).toArray();
    QJsonObject first = sections.at(0).toObject();
    QJsonArray elements = first.value("elements"_L1).toArray();
    elements.append(QJsonObject{{u"type"_s, u"panel"_s}, {u"panel"_s, u"progress"_s}, {u"source"_s, u"/p"_s}});
    first.insert(u"elements"_s, elements);
    sections.replace(0, first);
    screen.insert(u"sections"_s, sections);

    int current = 0;
    render::Actions actions;
    actions.fetch = [&current](const QString &) { return progress(current); };

    QWidget host;
    auto *box = new QVBoxLayout(&host);
    host.resize(1240, 900);
    host.show();
    QWidget *root = render::screen(screen, actions, &host);
    box->addWidget(root);
    settle();

    QWidget boardHost;
    auto *boardBox = new QVBoxLayout(&boardHost);
    boardHost.resize(1000, 400);
    boardHost.show();
    auto *drawn = new board::SiteBoard(boardAt(0), actions, &boardHost);
    boardBox->addWidget(drawn);
    settle();

    QList<double> rebuild, patch, boardNew, boardUpdate;
    for (int r = 0; r < rounds; ++r) {
        rebuild << ms([&] {
            QWidget *fresh = render::screen(screen, actions, &host);
            box->replaceWidget(root, fresh);
            delete root;
            root = fresh;
            root->show();
        });
        patch << ms([&] {
            ++current;
            if (!panels::updateInPlace(root, u"/p"_s, progress(current % 40), actions))
                std::fprintf(stderr, "bench_panels: the progress panel was not patched\n");
        });
        boardNew << ms([&] {
            auto *fresh = new board::SiteBoard(boardAt(r % 8), actions, &boardHost);
            boardBox->replaceWidget(drawn, fresh);
            delete drawn;
            drawn = fresh;
            drawn->show();
        });
        boardUpdate << ms([&] {
            if (!drawn->update(boardAt((r + 1) % 8)))
                std::fprintf(stderr, "bench_panels: the board was not updated in place\n");
        });
    }

    const long before = residentKb();
    const qsizetype widgetsBefore = drawn->findChildren<QWidget *>().size();
    for (int i = 0; i < 1000; ++i) {
        drawn->update(boardAt(i % 8));
        settle();
    }
    const long after = residentKb();

    QTextStream out(stdout);
    const double pRebuild = median(rebuild), pPatch = median(patch);
    const double bNew = median(boardNew), bUpdate = median(boardUpdate);
    out << "rounds " << rounds << "\n";
    out << QString::asprintf(
        "progress: patch in place %.3f ms, rebuild the screen %.3f ms, ratio %.4f (target <= 0.05)\n", pPatch, pRebuild,
        pPatch / pRebuild);
    out << QString::asprintf("board:    update in place %.3f ms, build anew %.3f ms, ratio %.4f (target <= 0.2)\n",
                             bUpdate, bNew, bUpdate / bNew);
    out << QString::asprintf("board:    1000 updates in place: widgets %lld -> %lld, resident %ld kB -> %ld kB\n",
                             qlonglong(widgetsBefore), qlonglong(drawn->findChildren<QWidget *>().size()), before,
                             after);
    return 0;
}
