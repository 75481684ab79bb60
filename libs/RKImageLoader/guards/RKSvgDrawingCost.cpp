#include "RKImageLoader/guards/RKSvgDrawingCost_p.h"

#include <algorithm>

void RKSvgDrawingCost::begin(const QString& id, qint64 cost)
{
    const int parent = m_stack.back();
    if (id.isEmpty()) {
        m_elements[size_t(parent)].cost += cost;
        m_stack.push_back(parent);
        return;
    }
    const int index = add({.cost = cost});
    m_elements[size_t(parent)].children.push_back(index);
    m_elements[size_t(alternative(id))].children.push_back(index);
    m_stack.push_back(index);
}

void RKSvgDrawingCost::refer(const QString& id)
{
    const int index = alternative(id);
    m_elements[size_t(m_stack.back())].children.push_back(index);
}

void RKSvgDrawingCost::end()
{
    m_stack.pop_back();
}

bool RKSvgDrawingCost::isAffordable()
{
    return visit(0, 0);
}

int RKSvgDrawingCost::add(const Element& element)
{
    m_elements.push_back(element);
    return int(m_elements.size()) - 1;
}

int RKSvgDrawingCost::alternative(const QString& id)
{
    const auto known = m_ids.constFind(id);
    return known != m_ids.constEnd() ? *known : *m_ids.insert(id, add({.isAlternative = true}));
}

bool RKSvgDrawingCost::visit(int index, int depth)
{
    Element& element = m_elements[size_t(index)];
    if (depth + element.depth > kMaxDepth || element.cost > kMaxCost)
        return false;
    if (element.isOpen || element.isDone)
        return true;

    element.isOpen = true;
    // An alternative is not an element of its own.
    const int step = element.isAlternative ? 0 : 1;
    for (const int child : element.children) {
        if (!visit(child, depth + step))
            return false;
        const Element& visited = m_elements[size_t(child)];
        if (visited.isOpen)
            continue;
        element.cost = element.isAlternative ? std::max(element.cost, visited.cost)
                                             : element.cost + visited.cost;
        element.depth = std::max(element.depth, visited.depth + step);
        if (element.cost > kMaxCost)
            return false;
    }
    element.isOpen = false;
    element.isDone = true;
    return true;
}
