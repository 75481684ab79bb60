#include "print/PrintView.h"

#include "Background.h"
#include "RKImageLoader/loading/RKImageClipper.h"
#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

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

PrintView::PrintView(RKAsyncLoader* loader)
    : m_picture(loader)
    , m_ratio(new QComboBox)
    , m_isPortrait(new QCheckBox(tr("Portrait")))
    , m_width(millimetres())
    , m_height(millimetres())
    , m_dpi(new QSpinBox)
    , m_pixels(new QLabel)
    , m_warning(new QLabel)
    , m_export(new QPushButton(tr("Export…")))
{
    m_picture.scene()->addItem(&m_crop);
    m_picture.setShowsFaces(false);
    m_picture.setAccessibleName(tr("Part of the picture that is printed"));
    addKeys();
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
    m_warning->setStyleSheet(u"border: 1px solid #c0392b; border-radius: 4px; padding: 4px"_s);

    auto* form = new QFormLayout;
    form->addRow(tr("&Form"), m_ratio);
    form->addRow(QString(), m_isPortrait);
    form->addRow(tr("&Width"), m_width);
    form->addRow(tr("&Height"), m_height);
    form->addRow(tr("&Resolution"), m_dpi);
    form->addRow(tr("Pixels"), m_pixels);
    form->addRow(m_warning);
    form->addRow(m_export);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(&m_picture, 1);
    layout->addLayout(form);

    connect(&m_picture, &PictureView::changed, this, &PrintView::takePicture);
    connect(m_ratio, &QComboBox::activated, this, &PrintView::applyRatio);
    connect(m_isPortrait, &QCheckBox::toggled, this, &PrintView::applyRatio);
    connect(&m_crop, &CropFrame::cropChanged, this, &PrintView::updatePixels);
    connect(m_width, &QDoubleSpinBox::valueChanged, this, &PrintView::updatePixels);
    connect(m_height, &QDoubleSpinBox::valueChanged, this, [this](double height) {
        const QSizeF crop = m_crop.crop().size();
        if (!crop.isEmpty())
            m_width->setValue(height * crop.width() / crop.height());
    });
    connect(m_dpi, &QSpinBox::valueChanged, this, &PrintView::updatePixels);
    connect(m_export, &QPushButton::clicked, this, &PrintView::askForExport);
    updatePixels();
}

void PrintView::addKeys()
{
    struct Key
    {
        QString text;
        QKeyCombination keys;
        QPointF steps;
    };

    const std::array<Key, 10> keys{{{tr("To the left"), Qt::Key_Left, {-1, 0}},
        {tr("To the right"), Qt::Key_Right, {1, 0}},
        {tr("Up"), Qt::Key_Up, {0, -1}},
        {tr("Down"), Qt::Key_Down, {0, 1}},
        {tr("Narrower"), Qt::SHIFT | Qt::Key_Left, {-1, 0}},
        {tr("Wider"), Qt::SHIFT | Qt::Key_Right, {1, 0}},
        {tr("A pixel to the left"), Qt::CTRL | Qt::Key_Left, {-1, 0}},
        {tr("A pixel to the right"), Qt::CTRL | Qt::Key_Right, {1, 0}},
        {tr("A pixel up"), Qt::CTRL | Qt::Key_Up, {0, -1}},
        {tr("A pixel down"), Qt::CTRL | Qt::Key_Down, {0, 1}}}};
    for (const Key& key : keys) {
        QAction* action = m_picture.addAction(key.text, key.keys);
        action->setShortcutContext(Qt::WidgetShortcut);
        connect(action, &QAction::triggered, this, [this, key] {
            m_crop.move(key.steps, key.keys.keyboardModifiers());
        });
    }
}

void PrintView::open(const MediaFile& file)
{
    m_filePath = file.path;
    m_picture.open(file, {});
    setFocusProxy(&m_picture);
}

void PrintView::takePicture()
{
    const QSizeF size = m_picture.sceneRect().size();
    if (size == m_crop.pictureSize())
        return;
    m_isPortrait->setChecked(size.height() > size.width());
    m_crop.setPictureSize(size);
    m_picture.fit();
    applyRatio();
}

void PrintView::applyRatio()
{
    const double choice = m_ratio->currentData().toDouble();
    m_isPortrait->setEnabled(choice > 1);
    const QSizeF size = m_crop.pictureSize();
    if (size.isEmpty() || choice == kFree)
        m_crop.setRatio({});
    else if (choice == kOriginal)
        m_crop.setRatio(size.width() / size.height());
    else
        m_crop.setRatio(m_isPortrait->isChecked() ? 1 / choice : choice);
}

QSizeF PrintView::printSize() const
{
    // Not from the box, which rounds: the print has the form of the part.
    const QSizeF crop = m_crop.crop().size();
    return {m_width->value(), m_width->value() * crop.height() / crop.width()};
}

void PrintView::updatePixels()
{
    const QSizeF crop = m_crop.crop().size();
    m_export->setEnabled(!crop.isEmpty());
    m_warning->hide();
    m_pixels->clear();
    if (crop.isEmpty())
        return;
    const QSignalBlocker blocker(m_height);
    m_height->setValue(printSize().height());
    const bool isBitmap = !RKMediaDescriptor(QFileInfo(m_filePath)).mediaFormat().isSVG();
    const QSize pixels
        = RKImageClipper()
              .calcResultImageSize(printSize() * 10, m_dpi->value(), crop, isBitmap, false)
              .toSize();
    m_pixels->setText(u"%1 × %2"_s.arg(pixels.width()).arg(pixels.height()));
    const int reached = qFloor(pixels.width() / printSize().width() * kMillimetresPerInch + 0.5);
    m_warning->setText(tr(
        "Too few pixels: the print gets %1 dpi. Print at most %2 mm wide, or take a larger part.")
                           .arg(reached)
                           .arg(qFloor(crop.width() / m_dpi->value() * kMillimetresPerInch)));
    m_warning->setVisible(reached < m_dpi->value());
}

void PrintView::askForExport()
{
    const QFileInfo picture(m_filePath);
    const QString path = QFileDialog::getSaveFileName(this,
        tr("Export"),
        picture.dir().filePath(picture.completeBaseName() + u"-print.jpg"_s),
        tr("Pictures (*.jpg *.png *.tif)"));
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
    const auto clip = [=, crop = m_crop.crop(), size = printSize() * 10, dpi = m_dpi->value()] {
        RKMediaError error;
        const QImage image
            = RKImageClipper().clipForProduction(source, crop, size, dpi, false, &error);
        if (!image.isNull())
            RKMediaLoader::instance()->save(RKMediaDescriptor(QFileInfo(filePath)), image, &error);
        return error.text();
    };
    const auto report = [this, filePath](const QString& failure) {
        m_export->setEnabled(true);
        if (!failure.isEmpty())
            Q_EMIT failed(filePath, failure);
    };
    whenDone(QtConcurrent::run(backgroundThreads(), clip), this, report);
}
