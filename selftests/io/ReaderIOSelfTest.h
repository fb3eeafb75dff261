#pragma once

/// Files that are swapped, cut or turned into something else, and a pipe whose reader misbehaves.
namespace vantry::ReaderIOSelfTest {

bool run();

}
