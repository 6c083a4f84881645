#include "app/compare.h"

#include <QImage>
#include <QTextStream>

#include <cmath>
#include <cstdlib>

namespace app {

std::optional<QString> earlyScan(const QStringList &args, const QString &name)
{
    const QString exact = QStringLiteral("--") + name;
    const QString withValue = exact + QLatin1Char('=');
    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        if (arg == exact) {
            if (i + 1 < args.size())
                return args.at(i + 1);
            return std::nullopt;
        }
        if (arg.startsWith(withValue))
            return arg.mid(withValue.size());
    }
    return std::nullopt;
}

double toleranceFrom(const std::optional<QString> &text)
{
    if (!text)
        return 0.2;
    bool ok = false;
    const double value = text->toDouble(&ok);
    return ok && std::isfinite(value) ? value : 0.0;
}

double differingPercent(const QImage &a, const QImage &b)
{
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    const qint64 total = qint64(x.width()) * x.height();
    if (total == 0)
        return 0;
    auto far = [](int p, int q) { return std::abs(p - q) >= 9; };
    qint64 count = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *lineA = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *lineB = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            const QRgb p = lineA[col];
            const QRgb q = lineB[col];
            if (p == q)
                continue;
            if (far(qAlpha(p), qAlpha(q)) || far(qRed(p), qRed(q)) || far(qGreen(p), qGreen(q)) ||
                far(qBlue(p), qBlue(q)))
                ++count;
        }
    }
    return double(count) * 100.0 / double(total);
}

int compareImages(const QString &pair, double tolerancePercent, QTextStream &out, QTextStream &err)
{
    const QStringList names = pair.split(QLatin1Char(','), Qt::KeepEmptyParts);
    if (names.size() != 2) {
        err << "compare: expected a.png,b.png\n";
        err.flush();
        return 2;
    }
    QImage images[2];
    for (int i = 0; i < 2; ++i) {
        if (!images[i].load(names[i].trimmed())) {
            err << "compare: cannot read " << names[i] << "\n";
            err.flush();
            return 2;
        }
    }
    if (images[0].size() != images[1].size()) {
        out << "100.000\n";
        out.flush();
        return 1;
    }
    const double percent = differingPercent(images[0], images[1]);
    out << QString::number(percent, 'f', 3) << "\n";
    out.flush();
    return percent > tolerancePercent ? 1 : 0;
}

} // namespace app
