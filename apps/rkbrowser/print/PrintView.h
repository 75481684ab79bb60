#pragma once

#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include <QSizeF>
#include <QWidget>

class CropView;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QPushButton;
class QSpinBox;

/// Prepares a picture for a print: which part of it, in what size and resolution, with the pixels
/// that it gets; and exports that part.
class PrintView : public QWidget
{
    Q_OBJECT

public:
    /// The loader has to live longer.
    explicit PrintView(RKAsyncLoader* loader, QWidget* parent = nullptr);

    void open(const QString& filePath);
    /// The chosen part; the suffix says the format.
    void exportTo(const QString& filePath);

public Q_SLOTS:
    /// Asks where to.
    void askForExport();

Q_SIGNALS:
    void opened(const QString& filePath);
    void exported(const QString& filePath);
    void failed(const QString& filePath, const QString& reason);

private:
    void begin(const RKLoadResult& result, const QSize& size);
    void applyRatio();
    void takeHeight(double millimetres);
    void updatePixels();
    QSizeF printSize() const;

    RKAsyncLoader* m_loader;
    QString m_filePath;
    quint64 m_generation = 0;
    CropView* m_crop;
    QComboBox* m_ratio;
    QCheckBox* m_isPortrait;
    QDoubleSpinBox* m_width;
    QDoubleSpinBox* m_height;
    QSpinBox* m_dpi;
    QLabel* m_pixels;
    QLabel* m_warning;
    QPushButton* m_export;
};
