#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include "RKCore/RKInitializerAbstract.h"

#include <QLocale>

/// Takes part in the host's start sequence. One object exists from the moment that the library is
/// loaded; programs without that sequence call setup() of an object of their own. For the main
/// thread only.
class RKIMAGELOADER_EXPORT RKImageLoaderInitializer : public RKInitializerAbstract
{
public:
    /// Registers the object with RKInitializer.
    RKImageLoaderInitializer();
    /// Takes the object out of RKInitializer again.
    ~RKImageLoaderInitializer() override;

    /// Switches Qt's limit on the memory of one decoded image off: 33 megapixels are less than
    /// today's cameras deliver. The decoders check sizes themselves. Has Qt find the image plug-ins
    /// that are installed with the library; call it before Qt reads the first picture, since Qt
    /// looks for plug-ins once.
    void setup(RKInitializerOption option) override;
    void teardown() override;

    /// Has texts for people come in the locale's language: names, such as
    /// RKMediaFormat::description(), which are in German as they stand, and the reasons of
    /// RKMediaError, which are in English. There are both languages. False, and nothing changed,
    /// for others and before there is a QCoreApplication.
    static bool installTranslation(const QLocale& locale = QLocale());
};
