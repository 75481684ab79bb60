#pragma once

#include <QHash>
#include <QString>

#include <vector>

/// Adds up what it takes to draw an SVG document whose elements draw each other.
///
/// A `use` element draws another element again, and that may hold further ones: a few lines make
/// billions of shapes, and a long chain exhausts the stack of a renderer that follows it. Report
/// the elements in the order of the document, then ask. Not thread-safe.
class RKSvgDrawingCost
{
public:
    /// The most that may be drawn, in the cost of a plain shape, which takes 1.4 us before it is
    /// painted.
    static constexpr qint64 kMaxCost = 500'000;
    /// The most elements with an identifier inside one another, counting through references.
    static constexpr int kMaxDepth = 256;

    /// An element begins; the identifier is empty where it has none.
    void begin(const QString& id, qint64 cost);
    /// The element that began last draws another one, or inherits from it.
    void refer(const QString& id);
    void end();

    /// Whether both limits are kept. Circular references count once: renderers don't follow them.
    bool isAffordable();

private:
    struct Element
    {
        qint64 cost = 0;
        int depth = 0;
        std::vector<int> children = {};
        // Only the most expensive of the children is drawn.
        bool isAlternative = false;
        bool isOpen = false;
        bool isDone = false;
    };

    int add(const Element& element);
    int alternative(const QString& id);
    bool visit(int index, int depth);

    // The first one is the document. Elements without an identifier are counted in the element
    // around them.
    std::vector<Element> m_elements{1};
    // The elements that are open, by their place in m_elements.
    std::vector<int> m_stack{0};
    // For each identifier the place of an alternative: several elements may share it, and which of
    // them is drawn depends on the renderer.
    QHash<QString, int> m_ids;
};
