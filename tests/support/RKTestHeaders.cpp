// RKTestHeaders has only the headers that it precompiles for tests; a library needs a source.
