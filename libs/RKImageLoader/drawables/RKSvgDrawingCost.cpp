#include "RKImageLoader/drawables/RKSvgDrawingCost_p.h"

#include <algorithm>

void RKSvgDrawingCost::begin(const QString& id, const QString& target, qint64 cost)
{
    const int parent = m_stack.back();
    if (id.isEmpty() && target.isEmpty()) {
        m_elements[size_t(parent)].cost += cost;
        m_stack.push_back(parent);
        return;
    }
    const int index = add({.cost = cost, .target = target});
    m_elements[size_t(parent)].children.push_back(index);
    m_stack.push_back(index);
    if (id.isEmpty())
        return;
    auto alternative = m_ids.find(id);
    if (alternative == m_ids.end())
        alternative = m_ids.insert(id, add({.isAlternative = true}));
    m_elements[size_t(*alternative)].children.push_back(index);
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

bool RKSvgDrawingCost::visit(int index, int depth)
{
    Element& element = m_elements[size_t(index)];
    if (depth + element.depth > kMaxDepth)
        return false;
    if (element.isOpen || element.isDone)
        return true;

    element.isOpen = true;
    const auto target = m_ids.constFind(element.target);
    if (target != m_ids.constEnd())
        element.children.push_back(*target);
    // An alternative is no element of its own.
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
