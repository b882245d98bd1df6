// The catalogue's handle to one of its objects. It starts out null, and it
// never owns: the objects belong to the catalogue provider and live as long as
// the catalogue that the host has loaded.
#pragma once

template <class T> class auto_init_ptr {
public:
    auto_init_ptr() : m_Object(nullptr) {}
    auto_init_ptr(T* object) : m_Object(object) {}

    T* get() const { return m_Object; }
    // Both need a handle that is not null.
    T* operator->() const { return m_Object; }
    T& operator*() const { return *m_Object; }
    explicit operator bool() const { return m_Object != nullptr; }

private:
    T* m_Object;
};
