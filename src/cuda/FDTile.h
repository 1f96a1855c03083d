// How a device half-step covers its box: a block of kTileX x kTileY threads
// owns a tile of columns, and each thread marches down kMarch planes of its
// column. A block decides once per plane whether its whole tile lies in the
// interior (no PML correction, no taper): then every thread takes the plain
// update, without any test per point; border tiles take the general
// per-point path of FDPoint.h. Written for the host compiler too, so that the
// traversal can be checked against the host steps on a machine without a
// device.
#pragma once

#include "calc3d/FDPoint.h"

namespace fd {

constexpr int kTileX = 32; // one warp along x: coalesced rows
constexpr int kTileY = 4;
constexpr int kMarch = 8; // planes per thread

// The inclusive box of a half-step in local indices.
struct TStepBox {
  int z0, y0, x0, z1, y1, x1;
};

// The interior of a grid: the points that neither a PML zone nor the taper
// frame reaches, in local planes for z (empty ranges where the frame fills
// an axis).
struct TInterior {
  int z0, z1, y0, y1, x0, x1;
};

inline TInterior InteriorOf(const TFdGrid& g) {
  int w = 0; // the width of the border on each side
  if (g.bPml)
    w = g.nPml + g.nStart;
  else
    w = g.nFrame;
  TInterior in;
  in.x0 = w;
  in.x1 = g.nx - 1 - w;
  in.y0 = w;
  in.y1 = g.ny - 1 - w;
  in.z0 = w - g.z0;
  in.z1 = g.nzAll - 1 - w - g.z0;
  return in;
}

// Blocks of the launch over a box: x and y tiles, z runs of kMarch planes.
struct TTileCount {
  int nx, ny, nz;
};

inline TTileCount TilesOf(const TStepBox& b) {
  TTileCount t{0, 0, 0};
  if (b.x1 < b.x0 || b.y1 < b.y0 || b.z1 < b.z0)
    return t;
  t.nx = (b.x1 - b.x0) / kTileX + 1;
  t.ny = (b.y1 - b.y0) / kTileY + 1;
  t.nz = (b.z1 - b.z0) / kMarch + 1;
  return t;
}

// The work of thread (tx, ty) of block (bx, by, bz).
template <class P>
FD_HD FD_INLINE void TileColumn(const TFdStep<P>& c, const TStepBox& b, const TInterior& in, int bx, int by, int bz,
                                int tx, int ty) {
  const int tileX0 = b.x0 + bx * kTileX, tileY0 = b.y0 + by * kTileY;
  const int tileX1 = tileX0 + kTileX - 1 < b.x1 ? tileX0 + kTileX - 1 : b.x1;
  const int tileY1 = tileY0 + kTileY - 1 < b.y1 ? tileY0 + kTileY - 1 : b.y1;
  const bool bInnerXY = tileX0 >= in.x0 && tileX1 <= in.x1 && tileY0 >= in.y0 && tileY1 <= in.y1;
  const int x = tileX0 + tx, y = tileY0 + ty;
  if (x > b.x1 || y > b.y1)
    return;
  const int zA = b.z0 + bz * kMarch;
  const int zB = zA + kMarch - 1 < b.z1 ? zA + kMarch - 1 : b.z1;
  for (int z = zA; z <= zB; z++) {
    if (bInnerXY && z >= in.z0 && z <= in.z1) {
      const ptrdiff_t i = c.g.Index(z, y, x);
      float d[P::kDer];
      c.ph.Derivs(i, c.g.sy, c.g.sz, d);
      c.ph.template Update<false>(i, d, 1.0f);
    } else {
      StepPoint<P>(c.ph, c.g, c.side, z, y, x);
    }
  }
}

} // namespace fd
