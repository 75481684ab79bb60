#include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"

#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"

#include <QDebug>
#include <QUrl>

#import <AppKit/NSImage.h>
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#import <ImageIO/ImageIO.h>

#include <memory>
#include <type_traits>

namespace {

struct Release
{
    void operator()(CFTypeRef object) const
    {
        CFRelease(object);
    }
};

/// Owns a Core Foundation object.
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, Release>;

/// The source refers to the bytes, which have to outlive it.
Owned<CGImageSourceRef> imageSource(const QByteArray& data)
{
    @autoreleasepool {
        NSDictionary* const options = @{
            (__bridge NSString*)kCGImageSourceShouldCache : @NO,
            (__bridge NSString*)kCGImageSourceCreateThumbnailWithTransform : @YES,
            (__bridge NSString*)kCGImageSourceCreateThumbnailFromImageAlways : @YES,
        };
        const Owned<CFDataRef> bytes(CFDataCreateWithBytesNoCopy(kCFAllocatorDefault,
            reinterpret_cast<const UInt8*>(data.constData()),
            data.size(),
            kCFAllocatorNull));
        if (!bytes)
            return nullptr;
        return Owned<CGImageSourceRef>(
            CGImageSourceCreateWithData(bytes.get(), (__bridge CFDictionaryRef)options));
    }
}

/// -1 when the property is missing.
int number(CFDictionaryRef properties, CFStringRef key)
{
    int value = -1;
    const auto entry = static_cast<CFTypeRef>(CFDictionaryGetValue(properties, key));
    if (entry && CFGetTypeID(entry) == CFNumberGetTypeID())
        CFNumberGetValue(static_cast<CFNumberRef>(entry), kCFNumberIntType, &value);
    return value;
}

} // namespace

RKMediaFormatList RKBitmapDecoderMacCoreGraphics::readableImageFileFormats() const
{
    static const RKMediaFormatList formats(staticReadableImageFileFormats());
    return formats;
}

RKMediaFormatList RKBitmapDecoderMacCoreGraphics::writableImageFileFormats() const
{
    return {};
}

QImage RKBitmapDecoderMacCoreGraphics::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    @autoreleasepool {
        const Owned<CGImageSourceRef> source = imageSource(data);
        if (!source)
            return {};
        const Owned<CGImageRef> picture(
            CGImageSourceCreateImageAtIndex(source.get(), 0, nullptr));
        const QImage image = cgImageToQImage(picture.get());
        if (image.isNull())
            return {};
        const QImage whole = isOnlyPreview(image.width(), descriptor)
            ? decodePDF(data, format, wantedSize, descriptor)
            : QImage();
        return whole.isNull() ? fitted(image, wantedSize) : whole;
    }
}

QImage RKBitmapDecoderMacCoreGraphics::decodePDF(const QByteArray&,
    const QByteArray&,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    @autoreleasepool {
        NSImage* const image = [[NSImage alloc] initWithContentsOfURL:descriptor.url().toNSURL()];
        if (!image)
            return {};
        const QSizeF own = QSizeF::fromCGSize(NSSizeToCGSize([image size]));
        const QSize proposed = proposedSize(wantedSize, own.toSize());
        NSRect rect = NSMakeRect(0, 0, proposed.width(), proposed.height());
        // The picture belongs to the NSImage.
        CGImageRef picture = [image CGImageForProposedRect:&rect context:nil hints:nil];
        return fitted(cgImageToQImage(picture), wantedSize);
    }
}

bool RKBitmapDecoderMacCoreGraphics::save(const QFileInfo&, const RKDrawable&) const
{
    return false;
}

bool RKBitmapDecoderMacCoreGraphics::save(QIODevice*, const RKMediaFormat&, const QImage&) const
{
    return false;
}

bool RKBitmapDecoderMacCoreGraphics::save(
    QIODevice*, const RKMediaFormat&, const RKDrawable&) const
{
    return false;
}

QSize RKBitmapDecoderMacCoreGraphics::size(QIODevice* device, const QByteArray& format) const
{
    const RKDeviceOpener opener(device, QIODevice::ReadOnly);
    if (!opener.isOpen()) {
        qCWarning(rkLoad).noquote() << "could not open theIODevice" << device->errorString();
        return {};
    }
    return size(device->readAll(), format);
}

QSize RKBitmapDecoderMacCoreGraphics::size(const QByteArray& data, const QByteArray&) const
{
    const Owned<CGImageSourceRef> source = imageSource(data);
    if (!source)
        return {};
    const Owned<CFDictionaryRef> properties(
        CGImageSourceCopyPropertiesAtIndex(source.get(), 0, nullptr));
    if (!properties)
        return {};
    return {number(properties.get(), kCGImagePropertyPixelWidth),
        number(properties.get(), kCGImagePropertyPixelHeight)};
}

QSize RKBitmapDecoderMacCoreGraphics::size(const QFileInfo& file, const QByteArray& format) const
{
    return size(readBinaryFile(file), format);
}

QString RKBitmapDecoderMacCoreGraphics::name() const
{
    return QStringLiteral("macOS CoreGraphics");
}

QImage RKBitmapDecoderMacCoreGraphics::cgImageToQImage(CGImage* cgImage)
{
    if (!cgImage)
        return {};
    const size_t width = CGImageGetWidth(cgImage);
    const size_t height = CGImageGetHeight(cgImage);
    if (!RKImageScaler::isFeasible(QSizeF(qreal(width), qreal(height))))
        return {};
    QImage image(int(width), int(height), QImage::Format_ARGB32_Premultiplied);
    const Owned<CGColorSpaceRef> colors(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
    if (image.isNull() || !colors)
        return {};
    image.fill(Qt::transparent);

    // QImage holds a pixel as one word with alpha on top, whatever the byte order.
    const CGBitmapInfo layout
        = CGBitmapInfo(kCGImageAlphaPremultipliedFirst) | kCGBitmapByteOrder32Host;
    const Owned<CGContextRef> context(CGBitmapContextCreate(image.bits(),
        width,
        height,
        8,
        size_t(image.bytesPerLine()),
        colors.get(),
        layout));
    if (!context)
        return {};
    const CGFloat ratio = image.devicePixelRatio();
    CGContextScaleCTM(context.get(), ratio, ratio);
    CGContextDrawImage(
        context.get(), CGRectMake(0, 0, CGFloat(width), CGFloat(height)), cgImage);
    return image;
}
