#pragma once
// "chart" and "sparkline": number series painted with QPainter. A chart has line, bar and area
// series over a grid with axes and a legend; a sparkline is one small line with its last value.
// Both decimate long series to the pixel columns they cover (prims/series.h).

#include "prims/series.h"

#include <QColor>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QWidget>

namespace prims {

class Chart final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Chart)

public:
    enum class Style { Line, Bar, Area };
    struct Series
    {
        QString label;
        QColor color;
        Style style = Style::Line;
        std::vector<double> samples;
    };

    // Reads the element; check hasData() before showing it.
    explicit Chart(const QJsonObject &element, QWidget *parent = nullptr);

    bool hasData() const;
    const QList<Series> &series() const { return m_series; }
    // The value range the y axis spans (after rounding out to whole ticks).
    ValueRange yRange(const QRectF &plot) const;
    // Paints the whole chart into `rect`; the widget paints itself with it, a benchmark onto an image.
    void paint(QPainter &painter, const QRect &rect) const;
    // Where the series go inside `rect`.
    QRectF plotRect(const QRect &rect) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void paintLegend(QPainter &p, const QRect &header) const;
    void paintXAxis(QPainter &p, const QRectF &plot, int positions, bool centred) const;

    QString m_title;
    QList<Series> m_series;
    QStringList m_xLabels;
    double m_min, m_max;
    double m_xFrom, m_xTo;
    QString m_unit, m_xUnit;
    bool m_legend = true;
    bool m_grid = true;
    bool m_axes = true;
};

class Sparkline final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Sparkline)

public:
    explicit Sparkline(const QJsonObject &element, QWidget *parent = nullptr);

    bool hasData() const;
    // The last sample as shown at the right end ("" when the value is hidden).
    QString valueText() const { return m_valueText; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    std::vector<double> m_samples;
    QColor m_color;
    double m_min, m_max;
    bool m_fill = true;
    QString m_valueText;
};

QWidget *buildChart(const QJsonObject &element, QWidget *parent);
QWidget *buildSparkline(const QJsonObject &element, QWidget *parent);

} // namespace prims
