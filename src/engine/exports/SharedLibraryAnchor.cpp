// The shared library is the internal archive linked whole; this unit only
// gives the target a source of its own.
namespace kelvora::detail {
int sharedLibraryAnchor() {
  return 0;
}
}  // namespace kelvora::detail
