// Paints the three tray status icons (scanning in translation mode, off, keyboard wedge mode)
// into PNG files. Run once when the artwork changes; the PNGs are shipped as resources.
//   orvane-make-tray-icons OUTPUT_FOLDER
#include <QColor>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

namespace {

// White bars of a barcode across the middle of the badge.
void paintBarcode(QPainter& p, const QRectF& area) {
    const double widths[] = {2, 1, 1, 3, 1, 2, 1, 1, 2, 1, 3, 1};
    double x = area.left();
    bool bar = true;
    for (double w : widths) {
        const double width = w * area.width() / 22.0;
        if (bar)
            p.fillRect(QRectF(x, area.top(), width, area.height()), Qt::white);
        x += width;
        bar = !bar;
    }
}

QImage paintIcon(int size, const QColor& fill, int status) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const double s = size;
    QPainterPath badge;
    badge.addRoundedRect(QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92), s * 0.2, s * 0.2);
    p.fillPath(badge, fill);
    p.setPen(QPen(fill.darker(150), s * 0.04));
    p.drawPath(badge);
    paintBarcode(p, QRectF(s * 0.2, s * 0.22, s * 0.6, s * 0.56));
    if (status == 1) {
        // Off: a red bar struck through the code.
        p.setPen(QPen(QColor(210, 30, 30), s * 0.13, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(s * 0.18, s * 0.82), QPointF(s * 0.82, s * 0.18));
    } else if (status == 2) {
        // Keyboard wedge: a small key cap in the corner.
        const QRectF key(s * 0.52, s * 0.56, s * 0.42, s * 0.38);
        p.setPen(QPen(QColor(60, 40, 0), s * 0.04));
        p.setBrush(QColor(255, 244, 200));
        p.drawRoundedRect(key, s * 0.06, s * 0.06);
        QFont font;
        font.setPixelSize(static_cast<int>(s * 0.28));
        font.setBold(true);
        p.setFont(font);
        p.drawText(key, Qt::AlignCenter, QStringLiteral("K"));
    }
    return image;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QDir out(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("."));
    const QColor fills[] = {QColor(30, 150, 60), QColor(120, 120, 120), QColor(225, 150, 20)};
    for (int status = 0; status < 3; ++status) {
        for (int size : {32, 64}) {
            const QString name = QStringLiteral("status%1-%2.png").arg(status).arg(size);
            if (!paintIcon(size, fills[status], status).save(out.filePath(name)))
                return 1;
        }
    }
    return 0;
}
