#pragma once

#include "picture/PictureView.h"
#include "print/CropFrame.h"

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
    explicit PrintView(RKAsyncLoader* loader);

    void open(const MediaFile& file);
    /// The chosen part; the suffix says the format.
    void exportTo(const QString& filePath);

Q_SIGNALS:
    void failed(const QString& filePath, const QString& reason);

private:
    void addKeys();
    void takePicture();
    void applyRatio();
    void updatePixels();
    QSizeF printSize() const;
    void askForExport();

    PictureView m_picture;
    CropFrame m_crop;
    QString m_filePath;
    QComboBox* m_ratio;
    QCheckBox* m_isPortrait;
    QDoubleSpinBox* m_width;
    QDoubleSpinBox* m_height;
    QSpinBox* m_dpi;
    QLabel* m_pixels;
    QLabel* m_warning;
    QPushButton* m_export;
};
