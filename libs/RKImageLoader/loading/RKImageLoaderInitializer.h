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

    /// Switches off Qt's limit on the memory of one decoded image, 33 megapixels, which today's
    /// cameras exceed; the decoders check sizes themselves. Lets Qt find the image plug-ins that
    /// are installed with the library. Call it before Qt reads the first picture, since Qt looks
    /// for plug-ins once.
    void setup(RKInitializerOption option) override;
    void teardown() override;

    /// Translates texts for people into the locale's language, German or English: names such as
    /// RKMediaFormat::description(), which are German without a translation, and the reasons of
    /// RKMediaError, which are English. Returns false and changes nothing for other languages, and
    /// before there is a QCoreApplication.
    static bool installTranslation(const QLocale& locale = QLocale());
};
