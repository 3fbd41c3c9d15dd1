#pragma once

namespace stand_in {

// Makes descriptors 0 to 2 safe to use as standard streams, before anything else is opened, and
// takes back what a parent may have left for signals that matter here. Gives true.
bool prepareStandardStreams();

} // namespace stand_in
