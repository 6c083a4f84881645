// Fills a 5 000-row table element into its view (model, view, header widths) against building the
// same rows as plain QStandardItems in a QStandardItemModel, interleaved round by round; prints the
// medians and their ratio.
//   bench_table_fill [--rounds N] [--rows N]
#include "bench/benchsupport.h"
#include "prims/registry.h"
#include "prims/text.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QStandardItemModel>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

using bench::median;

namespace {

// An IO channel table as a unit sends it: texts, numbers, a toned cell now and then.
QJsonArray ioRows(int n)
{
    static const char *kinds[] = {"DI", "DO", "AI", "AO"};
    QJsonArray rows;
    for (int i = 0; i < n; ++i) {
        const QString channel = u"X%1.%2"_s.arg(i / 8 + 1).arg(i % 8 + 1);
        QJsonArray cells{channel, u"Signal %1"_s.arg(i), QString::fromLatin1(kinds[i % 4]), 4.0 + (i % 160) / 10.0};
        cells.append(i % 97 == 0 ? QJsonValue(QJsonObject{{"text"_L1, u"MISSING"_s}, {"tone"_L1, u"error"_s}})
                                 : QJsonValue(i % 2 ? u"on"_s : u"off"_s));
        rows.append(cells);
    }
    return rows;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption({u"rounds"_s, u"fills of each to time"_s, u"n"_s, u"21"_s});
    parser.addOption({u"rows"_s, u"rows in the table"_s, u"n"_s, u"5000"_s});
    parser.process(app);
    const int rounds = std::max(3, parser.value(u"rounds"_s).toInt());
    const int count = std::clamp(parser.value(u"rows"_s).toInt(), 1, 5000);

    const QJsonObject table{{"type"_L1, u"table"_s},
                            {"columns"_L1, QJsonArray{u"Channel"_s, u"Signal"_s, u"Kind"_s, u"Value"_s, u"State"_s}},
                            {"rows"_L1, ioRows(count)}};
    QWidget page;

    const auto fillTable = [&] {
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<QWidget> view(prims::buildPrimitive(table, {}, 0, &page));
        const double ms = clock.nsecsElapsed() / 1e6;
        return ms;
    };
    // The baseline: the same JSON rows read into one plain item per cell, the texts by the same rule.
    const auto fillItems = [&] {
        QElapsedTimer clock;
        clock.start();
        QStandardItemModel model;
        model.setHorizontalHeaderLabels({u"Channel"_s, u"Signal"_s, u"Kind"_s, u"Value"_s, u"State"_s});
        for (const QJsonValue &row : table.value("rows"_L1).toArray()) {
            QList<QStandardItem *> items;
            for (const QJsonValue &cell : row.toArray())
                items.append(new QStandardItem(cell.isObject() ? cell.toObject().value("text"_L1).toString()
                                                               : prims::valueText(cell)));
            model.appendRow(items);
        }
        return clock.nsecsElapsed() / 1e6;
    };
    for (int i = 0; i < 2; ++i) {
        fillTable();
        fillItems();
    }
    std::vector<double> tableMs, itemsMs;
    for (int i = 0; i < rounds; ++i) {
        tableMs.push_back(fillTable());
        itemsMs.push_back(fillItems());
    }
    std::printf("%d rows of 5 cells, %d rounds\n", count, rounds);
    std::printf("table element (model, view, header widths)  median %7.2f ms\n", median(tableMs));
    std::printf("plain QStandardItems in a model             median %7.2f ms\n", median(itemsMs));
    std::printf("ratio table / plain items  %.2f   (target at most 1.50)\n", median(tableMs) / median(itemsMs));
    return 0;
}
