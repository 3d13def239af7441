// SPDX-License-Identifier: MIT
#pragma once

/// Keeps token, key and text out of core dumps, and other programs of the same person out of this
/// one's memory, where the system can (Linux). Call it first of all.
///
/// A build with sanitizers stays open to a debugger: the leak check is one itself.
void protectMemoryImage();
