#ifndef FOUNDATION_FUNCTION_H
#define FOUNDATION_FUNCTION_H

#include <functional>
#include <utility>

// A copyable callable bound to an object and one of its member functions;
// thread bodies are made of these. An empty function answers R().
template <typename R>
class function {
public:
    function() = default;
    explicit function(std::function<R()> body) : m_body(std::move(body)) {}

    R operator()() const { return m_body ? m_body() : R(); }
    bool empty() const { return !m_body; }

private:
    std::function<R()> m_body;
};

// Binds a member function without arguments to its object. The object must
// outlive every copy of the result.
template <typename R, typename T>
function<R> bind_funcobj0(T* object, R (T::*member)()) {
    return function<R>([object, member]() { return (object->*member)(); });
}

#endif
