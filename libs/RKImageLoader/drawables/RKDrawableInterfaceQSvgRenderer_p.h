#pragma once

#include "RKImageLoader/drawables/RKDrawableInterface.h"

#include <QByteArray>
#include <QMutex>
#include <QRectF>
#include <QSvgRenderer>

#include <memory>

/// An SVG document as the content of a drawable.
class RKDrawableInterfaceQSvgRenderer : public RKDrawableInterface
{
public:
    /// From the bytes of an SVG document, compressed or not. The nominal size is the view box's.
    explicit RKDrawableInterfaceQSvgRenderer(const QByteArray& svg);
    ~RKDrawableInterfaceQSvgRenderer() override;

    using RKDrawableInterface::draw;

    RKDrawableInterfaceQSvgRenderer* clone() const override;
    /// Changes the nominal size only.
    RKDrawableInterfaceQSvgRenderer* scaled(const QSize& size) const override;
    QImage imageScaledToHeight(int height) const override;
    QImage image() const override;
    /// The bytes as they were given.
    QByteArray svg() const override;

    /// The scaling method plays no part. An empty source or target is drawn by leaving everything
    /// as it is.
    bool draw(QPainter* painter,
        const QRectF& target,
        const QRectF& source,
        const RKScalingOption& option) const override;

    QRectF rectF() const override;
    bool isNull() const override;
    bool isVector() const override;
    bool hasAlphaChannel() const override;
    bool hasAlpha() const override;
    qint64 numBytes() const override;
    void optimizeForDrawing() override;

private:
    /// A document that has been read. Drawables of all sizes share it.
    struct Document
    {
        /// The bytes as they were given.
        QByteArray svg;
        /// The renderer keeps its drawing state in the document, so it must draw once at a time
        /// even though it looks read-only. Nothing else is locked while this is held.
        QMutex mutex;
        QSvgRenderer renderer;
    };

    RKDrawableInterfaceQSvgRenderer(std::shared_ptr<Document> document, const QRectF& nominalRect);

    static std::shared_ptr<Document> read(const QByteArray& svg);
    QImage render(const QRectF& rect) const;

    std::shared_ptr<Document> m_document;
    QRectF m_nominalRect;
};
