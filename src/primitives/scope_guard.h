#pragma once

#include <utility>

// Calls the given function at the end of its scope, on every way out.
template <class Function> class ScopeGuard {
public:
    explicit ScopeGuard(Function function) : call(std::move(function)) {}
    ~ScopeGuard() { call(); }
    ScopeGuard(const ScopeGuard &) = delete;
    ScopeGuard &operator=(const ScopeGuard &) = delete;

private:
    Function call;
};
