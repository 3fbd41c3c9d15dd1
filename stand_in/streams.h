#pragma once

#include "stand_in/descriptor.h"
#include "stand_in/handles.h"

#include <utility>

namespace stand_in {

// A stream of bytes over a descriptor. read and write return 0 or the last error.
class Stream : public Object {
public:
    explicit Stream(Descriptor descriptor) : m_descriptor(std::move(descriptor)) {}
    virtual DWORD read(void *buffer, DWORD size, DWORD &count);
    // Writes all, or returns an error.
    virtual DWORD write(const void *bytes, DWORD size, DWORD &count);
    int descriptor() const { return m_descriptor.get(); }

protected:
    Descriptor m_descriptor;
};

} // namespace stand_in
