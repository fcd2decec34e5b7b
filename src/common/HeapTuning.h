// Heap settings of the whole program, made once at start by each front end; main thread, before
// any other thread exists.
#pragma once

namespace orel {

// A crawl keeps a few hundred MB of small records and frees and makes again a few hundred small
// strings per page: the heap keeps what it has grown to and grows in large steps.
void tuneHeap();

} // namespace orel
