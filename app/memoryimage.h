// SPDX-License-Identifier: MIT
#pragma once

/// Keeps token, key and text out of core dumps, and other programs of the same person out of this
/// one's memory, where the system can (Linux). Call it first of all.
///
/// A build with sanitizers stays open to a debugger: the leak check is one itself.
void protectMemoryImage();

/// Gives what is large back to the system as soon as it is not used any more, where the system can (glibc). A
/// reply, a record and a document's text come and go; in the heap they would leave gaps that stay for good.
void returnFreedMemory();
