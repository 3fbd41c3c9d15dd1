#pragma once

#include <utility>

// Calls the given function at the end of its scope, on every way out.
template <class Function> class ScopeGuard {
public:
    explicit ScopeGuard(Function function) : m_function(std::move(function)) {}
    ~ScopeGuard() { m_function(); }
    ScopeGuard(const ScopeGuard &) = delete;
    ScopeGuard &operator=(const ScopeGuard &) = delete;

private:
    Function m_function;
};
