// Loads the library by the name given, marks an object, and goes on when the library has ended,
// while the process exits.

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

namespace {

void* s_library = nullptr;

/// A marker, by the symbols of its operations.
class Marker {
 public:
  void Begin() { Call<void>("_ZN3bix10SMapMarkerC1Ev"); }
  void End() { Call<void>("_ZN3bix10SMapMarkerD1Ev"); }
  void MarkTwice(const char* when) {
    const bool first = Call<bool>("_ZN3bix10SMapMarker4MarkEPKv", static_cast<const void*>(this));
    const bool second = Call<bool>("_ZN3bix10SMapMarker4MarkEPKv", static_cast<const void*>(this));
    std::printf("%s %d then %d\n", when, first, second);
    std::fflush(stdout);
  }
  int Unmark() {
    return Call<int>("_ZN3bix10SMapMarker6UnmarkEPKv", static_cast<const void*>(this));
  }

 private:
  template <class Result, class... Arguments>
  Result Call(const char* name, Arguments... arguments) {
    using Operation = Result (*)(void* self, Arguments... arguments);
    return reinterpret_cast<Operation>(dlsym(s_library, name))(m_room, arguments...);
  }

  alignas(16) char m_room[64];
};

Marker g_early;

void MarkAfterTheEnd() {
  g_early.MarkTwice("late");
  std::printf("unmarked %d\n", g_early.Unmark());
  g_early.End();
  Marker fresh;
  fresh.Begin();
  fresh.MarkTwice("fresh");
  fresh.End();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  // Registered before the library is loaded, it is called after the library's own destructors.
  std::atexit(&MarkAfterTheEnd);
  s_library = dlopen(argv[1], RTLD_NOW);
  if (s_library == nullptr) return 3;
  g_early.Begin();
  g_early.MarkTwice("early");
  return 0;
}
