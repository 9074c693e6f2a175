#include "bix/bix.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  bix::CDefRgKey root("");
  bix::CRgFile settings(&root);
  settings.SetValue("Editor/Colours", "background", "blue");
  if (settings.Save(argv[1]) != 0) return 1;

  bix::CDefRgKey copy("");
  bix::CRgFile saved(&copy);
  if (saved.Load(argv[1]) != 0) return 1;
  bix::SFmt line("The background is %1.");
  bix::bixout << (line << saved.GetValue("Editor/Colours", "background")) << bix::endl
              << bix::flush;
}
