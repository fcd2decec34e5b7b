// Keeps this module's object library valid while it has no other source.
namespace orel {
}
