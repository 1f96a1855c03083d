#include "CalcSettings.h"

#include "run/Console.h"

void calc_PrintModelingMethod(int nMethod, int nViscoL) {
  const bool bVisco = nViscoL >= 1;
  const char* sz = "3D ACOUSTIC MODELING STARTED\n";
  switch (nMethod) {
  case METHOD_VERTICAL_INCIDENCE: sz = "1D VERTICAL INCIDENCE MODELING STARTED\n"; break;
  case METHOD_ELASTIC: sz = bVisco ? "3D VISCOELASTIC MODELING STARTED\n" : "3D ELASTIC MODELING STARTED\n"; break;
  case METHOD_ORTHORHOMBIC:
    sz = bVisco ? "3D VISCOELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n"
                : "3D ELASTIC ORTHOROMBIC ANISOTROPIC MODELING STARTED\n";
    break;
  case METHOD_ANISOTROPIC:
    sz = bVisco ? "3D VISCOELASTIC ANISOTROPIC MODELING STARTED\n" : "3D ELASTIC ANISOTROPIC MODELING STARTED\n";
    break;
  default: break;
  }
  u_Line();
  u_CenterPrint("%s", sz);
  u_Line();
}
