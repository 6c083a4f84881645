// The baseline for the render benchmark: the least any Qt program pays to start, load fonts,
// lay out 200 plain labels in a column at 1240x900 and write the PNG. With --blank it writes a
// blank page instead, the cost of starting Qt and saving a PNG alone.

#include <QApplication>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = QApplication::arguments();
    const bool blank = args.contains(QStringLiteral("--blank"));
    const QString out = args.value(args.indexOf(QStringLiteral("--out")) + 1, QStringLiteral("bare.png"));

    QWidget page;
    page.setAttribute(Qt::WA_DontShowOnScreen);
    page.setFixedWidth(1240);
    auto *box = new QVBoxLayout(&page);
    if (!blank) {
        for (int i = 0; i < 200; ++i)
            box->addWidget(new QLabel(QStringLiteral("Label number %1 of the baseline column").arg(i + 1), &page));
    }
    page.resize(1240, 900);
    page.show();
    box->activate();
    QCoreApplication::processEvents();
    page.resize(1240, std::max(900, page.sizeHint().height()));
    box->activate();
    QCoreApplication::processEvents();
    return page.grab().save(out) ? 0 : 2;
}
