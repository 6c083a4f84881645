// The main window's two costs per poll, each against a baseline measured in the same process and
// the same run (medians of interleaved rounds):
//   same:    applying an unchanged answer of about 500 leaves, against parsing that answer's
//            JSON text (target at most 1.0x);
//   rebuild: rebuilding a 200-element screen in the running window, against building and laying
//            out 200 plain labels in place inside a scrolling frame, as the window builds its
//            screens (target at most 2.0x); and against the column built apart and set in.
// The window sweeps for units when it is made, so this runs inside a private network namespace
// (bench/window-bench does that).
//
//   bench_window [ROUNDS]

#include "bench/benchsupport.h"
#include "board/viewport.h"
#include "window/window.h"

#include "app/base/theme.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QScrollArea>
#include <QTextStream>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>

using bench::median;
using bench::settle;

namespace {

int leaves(const QJsonValue &v)
{
    int n = 0;
    if (v.isObject())
        for (const QJsonValue &c : v.toObject())
            n += leaves(c);
    else if (v.isArray())
        for (const QJsonValue &c : v.toArray())
            n += leaves(c);
    else
        n = 1;
    return n;
}

// A poll answer around `screen`, as a unit sends it.
QJsonObject answerFor(const QJsonObject &screen, const QString &title)
{
    return {{QStringLiteral("schema"), 1},
            {QStringLiteral("poll_ms"), 1000},
            {QStringLiteral("title"), title},
            {QStringLiteral("subtitle"), screen.value(QStringLiteral("subtitle"))},
            {QStringLiteral("signed_in_as"), QStringLiteral("bench")},
            {QStringLiteral("badge"), QJsonObject{{QStringLiteral("label"), QStringLiteral("BENCH")},
                                                  {QStringLiteral("tone"), QStringLiteral("warn")}}},
            {QStringLiteral("hb_age"), 3},
            {QStringLiteral("screen"), screen}};
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    // As the program runs: under the theme's application style sheet (KESTRO_BENCH_NO_SHEET=1
    // measures without it). The label baseline runs under the same sheet.
    if (!qEnvironmentVariableIsSet("KESTRO_BENCH_NO_SHEET"))
        app.setStyleSheet(theme::styleSheet());
    QTextStream out(stdout);
    if (qEnvironmentVariableIsEmpty("KESTRO_SITE_NET")) {
        QTextStream(stderr) << "bench_window: run inside a private network namespace (bench/window-bench)\n";
        return 2;
    }
    const int rounds = argc > 1 ? std::max(3, atoi(argv[1])) : 21;
    QFile file(QStringLiteral(KESTRO_SOURCE_DIR "/bench/screen-200.json"));
    if (!file.open(QIODevice::ReadOnly))
        return 2;
    const QJsonObject full = QJsonDocument::fromJson(file.readAll()).object();

    // About 500 leaves: the first sections of the 200-element screen.
    QJsonObject small = full;
    QJsonArray sections;
    for (const QJsonValue &s : full.value(QStringLiteral("sections")).toArray()) {
        small.insert(QStringLiteral("sections"), sections);
        if (leaves(answerFor(small, QStringLiteral("A"))) >= 500)
            break;
        sections.append(s);
    }
    small.insert(QStringLiteral("sections"), sections);
    const QJsonObject sameAnswer = answerFor(small, QStringLiteral("A"));
    const QByteArray sameText = QJsonDocument(sameAnswer).toJson(QJsonDocument::Compact);

    window::Window win;
    win.resize(1320, 860);
    win.show();
    QCoreApplication::processEvents();

    // Same: the first answer is drawn, every later one is SAME.
    win.applyAnswer(sameAnswer);
    QCoreApplication::processEvents();
    const int rebuildsBefore = win.rebuildCount();
    constexpr int kInner = 200;
    QList<double> applyUs, parseUs;
    for (int r = 0; r < rounds; ++r) {
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < kInner; ++i) {
            const QJsonObject parsed = QJsonDocument::fromJson(sameText).object();
            if (parsed.isEmpty())
                return 3;
        }
        parseUs << t.nsecsElapsed() / 1000.0 / kInner;
        t.restart();
        for (int i = 0; i < kInner; ++i)
            win.applyAnswer(sameAnswer);
        applyUs << t.nsecsElapsed() / 1000.0 / kInner;
    }
    if (win.rebuildCount() != rebuildsBefore)
        return 4; // the answers were not SAME after all

    // Rebuild: alternate two answers that differ in the title, so each one is CHANGED.
    const QJsonObject answers[2] = {answerFor(full, QStringLiteral("A")), answerFor(full, QStringLiteral("B"))};
    // The labels sit in a scrolling frame of the window's size, as the screen does, so that both
    // paint what shows and delete what they replace.
    QScrollArea labelsHost;
    labelsHost.setWidgetResizable(true);
    labelsHost.resize(1240, 860);
    labelsHost.show();
    QScrollArea inPlaceArea;
    inPlaceArea.setWidgetResizable(true);
    inPlaceArea.resize(1240, 860);
    auto *inPlaceHost = new QWidget;
    auto *inPlaceBox = new QVBoxLayout(inPlaceHost);
    inPlaceArea.setWidget(inPlaceHost);
    inPlaceArea.show();
    QWidget *inPlaceColumn = nullptr;
    QList<double> inPlaceMs;
    const int rebuildsAtStart = win.rebuildCount();
    QList<double> rebuildMs, labelsMs;
    for (int r = 0; r < rounds; ++r) {
        QElapsedTimer t;
        t.start();
        win.applyAnswer(answers[r % 2]);
        settle();
        rebuildMs << t.nsecsElapsed() / 1e6;

        t.restart();
        if (QWidget *old = labelsHost.takeWidget())
            old->deleteLater();
        auto *column = new QWidget;
        auto *box = new QVBoxLayout(column);
        for (int i = 0; i < 200; ++i)
            box->addWidget(new QLabel(QStringLiteral("Label number %1 of the baseline column").arg(i + 1), column));
        labelsHost.setWidget(column);
        box->activate();
        settle();
        labelsMs << t.nsecsElapsed() / 1e6;

        // The same labels built where they are shown, as the window builds its screens: a tree
        // moved between parents under a style sheet is restyled widget by widget.
        t.restart();
        if (inPlaceColumn) {
            inPlaceColumn->hide();
            inPlaceBox->removeWidget(inPlaceColumn);
            inPlaceColumn->deleteLater();
        }
        inPlaceColumn = new QWidget(inPlaceHost);
        auto *box2 = new QVBoxLayout(inPlaceColumn);
        for (int i = 0; i < 200; ++i)
            box2->addWidget(
                new QLabel(QStringLiteral("Label number %1 of the baseline column").arg(i + 1), inPlaceColumn));
        inPlaceBox->addWidget(inPlaceColumn);
        inPlaceColumn->show();
        box2->activate();
        settle();
        inPlaceMs << t.nsecsElapsed() / 1e6;
    }
    if (win.rebuildCount() != rebuildsAtStart + rounds)
        return 5; // a changed answer was not rebuilt

    const double a = median(applyUs), p = median(parseUs), b = median(rebuildMs), l = median(labelsMs);
    out << "rounds " << rounds << "\n";
    out << QStringLiteral("answer of %1 leaves (%2 bytes)\n").arg(leaves(sameAnswer)).arg(sameText.size());
    out << QStringLiteral("apply SAME answer           median %1 us\n").arg(a, 8, 'f', 1);
    out << QStringLiteral("parse its JSON text         median %1 us\n").arg(p, 8, 'f', 1);
    out << QStringLiteral("ratio apply / parse         %1   (target at most 1.00)\n").arg(a / p, 0, 'f', 2);
    out << QStringLiteral("rebuild 200-element screen  median %1 ms\n").arg(b, 8, 'f', 1);
    out << QStringLiteral("build + lay out 200 labels  median %1 ms\n").arg(l, 8, 'f', 1);
    out << QStringLiteral("ratio rebuild / labels      %1\n").arg(b / l, 0, 'f', 2);
    const double l2 = median(inPlaceMs);
    out << QStringLiteral("200 labels built in place   median %1 ms\n").arg(l2, 8, 'f', 1);
    out << QStringLiteral("ratio rebuild / in place    %1   (target at most 2.00)\n").arg(b / l2, 0, 'f', 2);
    return 0;
}
