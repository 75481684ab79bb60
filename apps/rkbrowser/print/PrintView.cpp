#include "print/PrintView.h"

#include "BackgroundThreads.h"
#include "RKImageLoader/loading/RKImageClipper.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "WhenDone.h"
#include "print/CropView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QtConcurrent>

#include <cmath>

namespace {

constexpr QSize kPreview(1600, 1200);
constexpr double kMillimetresPerInch = 25.4;
// In the list of ratios; longer side by shorter side follow.
constexpr double kFree = 0;
constexpr double kOriginal = -1;

QDoubleSpinBox* millimetres()
{
    constexpr double kMost = 5000;
    auto* box = new QDoubleSpinBox;
    box->setRange(1, kMost);
    box->setDecimals(1);
    box->setSuffix(PrintView::tr(" mm"));
    return box;
}

} // namespace

PrintView::PrintView(RKAsyncLoader* loader, QWidget* parent)
    : QWidget(parent)
    , m_loader(loader)
    , m_crop(new CropView)
    , m_ratio(new QComboBox)
    , m_isPortrait(new QCheckBox(tr("Portrait")))
    , m_width(millimetres())
    , m_height(millimetres())
    , m_dpi(new QSpinBox)
    , m_pixels(new QLabel)
    , m_warning(new QLabel)
    , m_export(new QPushButton(tr("Export…")))
{
    m_ratio->addItem(tr("Free"), kFree);
    m_ratio->addItem(tr("As the picture"), kOriginal);
    m_ratio->addItem(tr("3 : 2"), 1.5);
    m_ratio->addItem(tr("4 : 3"), 4.0 / 3);
    m_ratio->addItem(tr("5 : 4"), 1.25);
    m_ratio->addItem(tr("16 : 9"), 16.0 / 9);
    m_ratio->addItem(tr("Square"), 1.0);
    m_ratio->addItem(tr("A4, A5 …"), std::sqrt(2.0)); // ISO 216
    m_width->setValue(150);
    m_dpi->setRange(30, 2400);
    m_dpi->setValue(300);
    m_dpi->setSuffix(tr(" dpi"));
    m_warning->setWordWrap(true);
    m_warning->setStyleSheet(QStringLiteral("border: 1px solid #c0392b; border-radius: 4px;"
                                            "padding: 4px"));

    auto* form = new QFormLayout;
    form->addRow(tr("&Form"), m_ratio);
    form->addRow(QString(), m_isPortrait);
    form->addRow(tr("&Width"), m_width);
    form->addRow(tr("&Height"), m_height);
    form->addRow(tr("&Resolution"), m_dpi);
    form->addRow(tr("Pixels"), m_pixels);
    auto* side = new QVBoxLayout;
    side->addLayout(form);
    side->addWidget(m_warning);
    side->addStretch();
    side->addWidget(m_export);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(m_crop, 1);
    layout->addLayout(side);

    connect(m_ratio, &QComboBox::activated, this, &PrintView::applyRatio);
    connect(m_isPortrait, &QCheckBox::toggled, this, &PrintView::applyRatio);
    connect(m_crop, &CropView::cropChanged, this, &PrintView::updatePixels);
    connect(m_width, &QDoubleSpinBox::valueChanged, this, &PrintView::updatePixels);
    connect(m_height, &QDoubleSpinBox::valueChanged, this, &PrintView::takeHeight);
    connect(m_dpi, &QSpinBox::valueChanged, this, &PrintView::updatePixels);
    connect(m_export, &QPushButton::clicked, this, &PrintView::askForExport);
    updatePixels();
}

void PrintView::open(const QString& filePath)
{
    m_filePath = filePath;
    m_crop->setPicture({}, {});
    const RKMediaDescriptor descriptor{QFileInfo(filePath)};
    const auto measure = [descriptor](const RKLoadResult& result) {
        return std::pair(result, RKMediaLoader::instance()->size(descriptor));
    };
    whenDone(m_loader->load(descriptor, kPreview).then(backgroundThreads(), measure),
        this,
        [this, generation = ++m_generation](const std::pair<RKLoadResult, QSize>& measured) {
            if (generation == m_generation)
                begin(measured.first, measured.second);
        });
}

void PrintView::begin(const RKLoadResult& result, const QSize& size)
{
    if (result.drawable().isNull()) {
        Q_EMIT failed(m_filePath, result.error().text());
        return;
    }
    m_isPortrait->setChecked(size.height() > size.width());
    m_crop->setPicture(result.drawable().image(), size);
    applyRatio();
    Q_EMIT opened(m_filePath);
}

void PrintView::applyRatio()
{
    const double choice = m_ratio->currentData().toDouble();
    m_isPortrait->setEnabled(choice > 1);
    if (m_crop->pictureSize().isEmpty())
        return;
    const QSizeF size = m_crop->pictureSize();
    if (choice == kFree)
        m_crop->setRatio({});
    else if (choice == kOriginal)
        m_crop->setRatio(size.width() / size.height());
    else
        m_crop->setRatio(m_isPortrait->isChecked() ? 1 / choice : choice);
}

void PrintView::takeHeight(double height)
{
    const QRectF crop = m_crop->crop();
    if (!crop.isEmpty())
        m_width->setValue(height * crop.width() / crop.height());
}

QSizeF PrintView::printSize() const
{
    // Not from the box, which rounds: the print has the form of the part.
    const QRectF crop = m_crop->crop();
    return {m_width->value(), m_width->value() * crop.height() / crop.width()};
}

void PrintView::updatePixels()
{
    const QRectF crop = m_crop->crop();
    m_export->setEnabled(!crop.isEmpty());
    m_warning->hide();
    m_pixels->clear();
    if (crop.isEmpty())
        return;
    const QSignalBlocker blocker(m_height);
    m_height->setValue(printSize().height());
    const bool isBitmap = !RKMediaDescriptor(QFileInfo(m_filePath)).mediaFormat().isSVG();
    const QSizeF pixels = RKImageClipper().calcResultImageSize(
        printSize() * 10, m_dpi->value(), crop.size(), isBitmap, false);
    m_pixels->setText(
        QStringLiteral("%1 × %2").arg(qRound(pixels.width())).arg(qRound(pixels.height())));
    const int reached = qFloor(pixels.width() / printSize().width() * kMillimetresPerInch + 0.5);
    if (reached < m_dpi->value()) {
        m_warning->setText(tr(
            "Too few pixels: the print gets %1 dpi. Print at most %2 mm wide, or take a larger part.")
                               .arg(reached)
                               .arg(qFloor(crop.width() / m_dpi->value() * kMillimetresPerInch)));
        m_warning->show();
    }
}

void PrintView::askForExport()
{
    const QFileInfo picture(m_filePath);
    const QString name = picture.completeBaseName() + QStringLiteral("-print.jpg");
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Export"), picture.dir().filePath(name), tr("Pictures (*.jpg *.png *.tif)"));
    if (!path.isEmpty())
        exportTo(path);
}

void PrintView::exportTo(const QString& filePath)
{
    if (QFileInfo(filePath).exists() && QFileInfo(filePath) == QFileInfo(m_filePath)) {
        Q_EMIT failed(filePath, tr("A part does not replace its picture."));
        return;
    }
    m_export->setEnabled(false);
    const RKMediaDescriptor source{QFileInfo(m_filePath)};
    const auto clip
        = [source, filePath, crop = m_crop->crop(), size = printSize() * 10, dpi = m_dpi->value()] {
              RKMediaError error;
              const QImage image
                  = RKImageClipper().clipForProduction(source, crop, size, dpi, false, &error);
              if (!image.isNull())
                  RKMediaLoader::instance()->save(
                      RKMediaDescriptor(QFileInfo(filePath)), image, &error);
              return error.text();
          };
    whenDone(QtConcurrent::run(backgroundThreads(), clip),
        this,
        [this, filePath](const QString& failure) {
            m_export->setEnabled(true);
            if (failure.isEmpty())
                Q_EMIT exported(filePath);
            else
                Q_EMIT failed(filePath, failure);
        });
}
