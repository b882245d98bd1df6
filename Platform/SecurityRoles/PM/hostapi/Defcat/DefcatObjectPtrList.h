// Ordered lists of catalogue objects, filled by the catalogue's Get...(list, flag)
// operations and walked front to back. The list does not own what it points to.
#pragma once

#include <Defcat/AutoInitPtr.h>

#include <cstddef>
#include <vector>

namespace Defcat {
class Object;
} // namespace Defcat

class DefcatObjectPtrListBase {
public:
    std::size_t size() const { return m_Objects.size(); }
    bool empty() const { return m_Objects.empty(); }
    void clear() { m_Objects.clear(); } // forgets the pointers; deletes nothing

protected:
    std::vector<Defcat::Object*> m_Objects;
};

template <class T> class DefcatObjectPtrList : public DefcatObjectPtrListBase {
public:
    void push_back(T* object) { m_Objects.push_back(object); } // not owned
    // The object at index, which must be below size(); a handle that does
    // not own.
    auto_init_ptr<T> operator[](std::size_t index) const {
        return auto_init_ptr<T>(static_cast<T*>(m_Objects[index]));
    }
};
