#pragma once

#include <QByteArray>
#include <QImageIOHandler>
#include <QImageIOPlugin>
#include <QSize>

/// A made-up HEIC format with the abilities of a real reader: it knows the size, scales while it
/// decodes, and leaves the turning to Qt.
namespace RKTestHeic {

enum class Trait : char
{
    None,
    Broken, ///< The picture can be measured but not decoded.
    Unmeasurable, ///< The size shows only when the picture is decoded.
};

/// A file with quadrants of the stored size (see RKTestPictures), to be turned for display.
QByteArray file(const QSize& stored,
    QImageIOHandler::Transformations transformation,
    Trait trait = Trait::None);

} // namespace RKTestHeic

class RKTestHeicPlugin : public QImageIOPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "RKTestHeicPlugin.json")

public:
    Capabilities capabilities(QIODevice* device, const QByteArray& format) const override;
    QImageIOHandler* create(QIODevice* device, const QByteArray& format) const override;
};
