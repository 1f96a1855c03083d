// The one table of the finite-difference methods: which PML memory array
// belongs to which derivative, how many of them a method has, and the widths
// of the frame, the PML layer and the halo. Memory plans, steps and device
// code all read their counts from here.
//
// Plain constexpr functions without arrays at namespace scope, so that device
// code can call them as well as the host.
#pragma once

#ifndef FD_HD
#if defined(__CUDACC__)
#define FD_HD __host__ __device__
#else
#define FD_HD
#endif
#endif

namespace fd {

// Modelling methods with a 3-D step (the values of the task's method).
constexpr int FD_ACOUSTIC = 101, FD_ELASTIC = 102, FD_ORTHORHOMBIC = 103, FD_ANISOTROPIC = 104;

// Entries of the taper table m_fDamp: the frame of a grid without PML.
constexpr int kTaperWidth = 38;
// Coefficient arrays of each axis's PML: a and b, low and high side, sets A and B.
constexpr int kPmlCoefPerAxis = 8;
// PML memory arrays over all methods.
constexpr int kPmlMemMax = 90;

// Memory arrays of the single derivatives, each the low side of a pair whose
// high side is the next index: the field, and the axis it is taken along.
enum : int {
  PML_MEM_VX_X = 0,   // D+ of Vx, stress steps
  PML_MEM_TXX_X = 2,  // D- of Txx, velocity steps
  PML_MEM_VY_Y = 4,   // D+ of Vy
  PML_MEM_TYY_Y = 6,  // D- of Tyy (of the pressure in the acoustic method)
  PML_MEM_VZ_Z = 8,   // D+ of Vz
  PML_MEM_TZZ_Z = 10, // D- of Tzz (of the pressure in the acoustic method)
  PML_MEM_TXY_X = 12, // D+, velocity steps from here to 23
  PML_MEM_TXY_Y = 14,
  PML_MEM_TXZ_X = 16,
  PML_MEM_TXZ_Z = 18,
  PML_MEM_TYZ_Y = 20,
  PML_MEM_TYZ_Z = 22,
  PML_MEM_VX_Y = 24, // D-, stress steps from here to 35
  PML_MEM_VX_Z = 26,
  PML_MEM_VY_X = 28,
  PML_MEM_VY_Z = 30,
  PML_MEM_VZ_X = 32,
  PML_MEM_VZ_Y = 34,
  // From here on groups of six (three averages to other nodes of the cell,
  // low side, then the same three high) of general anisotropy.
  PML_MEM_AVG = 36,
};
// The pressure of the acoustic method stands in Txx; its y and z derivatives
// use the memories of Tyy and Tzz.
enum : int { PML_MEM_P_X = PML_MEM_TXX_X, PML_MEM_P_Y = PML_MEM_TYY_Y, PML_MEM_P_Z = PML_MEM_TZZ_Z };

// Axis (0 x, 1 y, 2 z) and operator of the derivative of memory array k.
struct TPmlMemInfo {
  int nAxis;
  bool bForward; // D+ (else D-)
};

FD_HD constexpr TPmlMemInfo PmlMem(int k) {
  // Pairs 0..35: axis, operator; groups of six from 36 on.
  constexpr signed char pairAxis[18] = {0, 0, 1, 1, 2, 2, 0, 1, 0, 2, 1, 2, 1, 2, 0, 2, 0, 1};
  constexpr bool pairForward[18] = {true, false, true, false, true,  false, true,  true,  true,
                                    true, true,  true, false, false, false, false, false, false};
  constexpr signed char groupAxis[9] = {2, 2, 2, 1, 1, 1, 0, 0, 0};
  constexpr bool groupForward[9] = {true, false, false, true, false, false, true, false, false};
  return k < PML_MEM_AVG ? TPmlMemInfo{pairAxis[k / 2], pairForward[k / 2]}
                         : TPmlMemInfo{groupAxis[(k - PML_MEM_AVG) / 6], groupForward[(k - PML_MEM_AVG) / 6]};
}

// What a method needs of the tables above.
struct TFdMethod {
  int nPmlMem; // memory arrays, k = 0 .. nPmlMem - 1
  int nFrame;  // frame of a grid with PML
  int nPml;    // PML layers
  int nStart;  // halo: first updated index on the low side of an axis
};

FD_HD constexpr TFdMethod FdMethod(int nMethod) {
  return nMethod == FD_ANISOTROPIC ? TFdMethod{kPmlMemMax, 23, 19, 3}
         : nMethod > FD_ACOUSTIC   ? TFdMethod{36, 26, 21, 2}
                                   : TFdMethod{12, 26, 21, 2};
}

FD_HD constexpr int PmlMemCount(int nMethod) { return FdMethod(nMethod).nPmlMem; }

// Memory arrays of a method along one axis.
FD_HD constexpr int PmlMemCountOnAxis(int nMethod, int nAxis) {
  int n = 0;
  for (int k = 0; k < PmlMemCount(nMethod); k++)
    n += PmlMem(k).nAxis == nAxis ? 1 : 0;
  return n;
}

// Floats of PML data per point of the slabs of all three axes: the
// coefficients and the memories of one axis (every method has as many on
// each axis).
FD_HD constexpr int PmlFloatsPerSlabPoint(int nMethod) { return kPmlCoefPerAxis + PmlMemCountOnAxis(nMethod, 0); }

// Frame width of a method with or without PML.
FD_HD constexpr int FrameWidth(int nMethod, bool bPml) { return bPml ? FdMethod(nMethod).nFrame : kTaperWidth; }

static_assert(PmlMemCountOnAxis(FD_ACOUSTIC, 0) == 4 && PmlMemCountOnAxis(FD_ACOUSTIC, 1) == 4 &&
                  PmlMemCountOnAxis(FD_ACOUSTIC, 2) == 4,
              "acoustic memories are even over the axes");
static_assert(PmlMemCountOnAxis(FD_ELASTIC, 0) == 12 && PmlMemCountOnAxis(FD_ELASTIC, 1) == 12 &&
                  PmlMemCountOnAxis(FD_ELASTIC, 2) == 12,
              "elastic memories are even over the axes");
static_assert(PmlMemCountOnAxis(FD_ANISOTROPIC, 0) == 30 && PmlMemCountOnAxis(FD_ANISOTROPIC, 1) == 30 &&
                  PmlMemCountOnAxis(FD_ANISOTROPIC, 2) == 30,
              "anisotropic memories are even over the axes");
static_assert(FdMethod(FD_ANISOTROPIC).nFrame - FdMethod(FD_ANISOTROPIC).nPml - FdMethod(FD_ANISOTROPIC).nStart == 1 &&
                  FdMethod(FD_ACOUSTIC).nFrame - FdMethod(FD_ACOUSTIC).nPml - FdMethod(FD_ACOUSTIC).nStart == 3,
              "the PML lies inside the frame");
static_assert(FrameWidth(FD_ACOUSTIC, true) < kTaperWidth && FrameWidth(FD_ANISOTROPIC, true) < kTaperWidth,
              "the frame with PML is narrower than the taper");

} // namespace fd
