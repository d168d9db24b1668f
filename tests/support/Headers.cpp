// Nothing: what counts of this program are its precompiled headers, which other tests take (CMakeLists.txt).
