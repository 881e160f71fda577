// Included before each source that is compiled without a Mac. The cross compiler's standard library
// hides since which version of macOS the system has each of its functions: with this it refuses
// what macOS 11 lacks, as Xcode does.
#undef _LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS
