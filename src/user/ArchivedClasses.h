#pragma once

namespace orx {

// Makes the classes of this folder readable from archives. Called before the first archive is read;
// calling it again, from any thread, changes nothing.
void registerArchivedClasses();

}  // namespace orx
