// Every message tag of the program, in one table. The census, the end of a
// run and the stop order travel on MPI_COMM_WORLD; all other messages on
// MPI_COMM_MT. Within one communicator no two tags share a value (checked
// below at compile time).
#pragma once

#include <cstddef>

// Tags on MPI_COMM_WORLD: name, value, payload.
#define KELVO_WORLD_TAGS(X)                                                                                            \
  X(TAG_CENSUS_WANTED, 19) /* int, 1: processes wanted on the sender's host */                                         \
  X(TAG_CENSUS_HOST, 20)   /* char, 80: the sender's host name */                                                      \
  X(TAG_RUN_OVER, 40)      /* int, 1: the run is over (to a Passive process) */                                        \
  X(TAG_STOP_ORDER, 41)    /* int, 1: stop order, sent non-blocking and probed for */

// Tags on MPI_COMM_MT: name, value, payload. A count of planes means
// nx * ny * m_nStart floats, a map nx * ny elements.
#define KELVO_GROUP_TAGS(X)                                                                                            \
  /* Deal-out of shots. */                                                                                             \
  X(TAG_JOB_SHOT, 30)  /* int, 1: the shot to compute; -1 stop */                                                      \
  X(TAG_JOB_DONE, 31)  /* int, 2: {shot just finished or -1 / -1000 on failure, outcome} */                            \
  X(TAG_JOB_PLACE, 32) /* int, 2: {group size, rank in group}; {-1, -1} stop at once */                                \
  /* Halo planes of the time loop of a depth group, one tag a field. */                                                \
  X(TAG_HALO_VX, 100) /* float, planes */                                                                              \
  X(TAG_HALO_VY, 101)                                                                                                  \
  X(TAG_HALO_VZ, 102)                                                                                                  \
  X(TAG_HALO_TXX, 103) /* the pressure in the acoustic method */                                                       \
  X(TAG_HALO_TYY, 104)                                                                                                 \
  X(TAG_HALO_TZZ, 105)                                                                                                 \
  X(TAG_HALO_TXY, 106)                                                                                                 \
  X(TAG_HALO_TXZ, 107)                                                                                                 \
  X(TAG_HALO_TYZ, 108)                                                                                                 \
  /* Rows of a vertical section, member to leader. */                                                                  \
  X(TAG_ROWS_COUNT, 110) /* int, 1: rows */                                                                            \
  X(TAG_ROWS_DATA, 111)  /* float, components x rows x row length */                                                   \
  /* Planes of a cube, member to leader. */                                                                            \
  X(TAG_CUBE_COUNT, 120) /* int, 1: planes; 0 none */                                                                  \
  X(TAG_CUBE_DATA, 121)  /* float, planes x ny x nx */                                                                 \
  /* Survey points handed down a depth group. */                                                                       \
  X(TAG_POINTS_COUNTS, 130)     /* int, 2: sources, receivers still looking for a slab */                              \
  X(TAG_POINTS_SOURCES, 131)    /* double, 3 a source */                                                               \
  X(TAG_POINTS_RECEIVERS, 132)  /* double, 7 a receiver */                                                             \
  X(TAG_POINTS_TOTALS, 133)     /* int, 2: own sources and receivers, member to leader */                              \
  X(TAG_POINTS_VERDICT, 134)    /* int, 1: receivers of the group; 0 failed */                                         \
  X(TAG_BORDER_DOWN_COUNT, 135) /* int, 1: border sources for the slab below */                                        \
  X(TAG_BORDER_UP_COUNT, 136)   /* int, 1: border sources for the slab above */                                        \
  X(TAG_BORDER_DOWN, 137)       /* byte, 16 a source */                                                                \
  X(TAG_BORDER_UP, 138)         /* byte, 16 a source */                                                                \
  /* Surface relay: per-column maps, first pass and return pass. */                                                    \
  X(TAG_SURF_PLANE_OUT, 140) /* int map: surface plane of each column */                                               \
  X(TAG_SURF_PVEL_OUT, 141)  /* float maps from here on */                                                             \
  X(TAG_SURF_SVEL_OUT, 142)                                                                                            \
  X(TAG_SURF_DENS_OUT, 143)                                                                                            \
  X(TAG_SURF_PLANE_BACK, 144)                                                                                          \
  X(TAG_SURF_PVEL_BACK, 145)                                                                                           \
  X(TAG_SURF_SVEL_BACK, 146)                                                                                           \
  X(TAG_SURF_DENS_BACK, 147)                                                                                           \
  X(TAG_SURF_Q_OUT, 148)                                                                                               \
  X(TAG_SURF_Q_BACK, 149)                                                                                              \
  X(TAG_SURF_EPSILON_BACK, 240)                                                                                        \
  X(TAG_SURF_DELTA_BACK, 241)                                                                                          \
  X(TAG_SURF_GAMMA_BACK, 242)                                                                                          \
  X(TAG_SURF_ALPHA_BACK, 243)                                                                                          \
  X(TAG_SURF_PHI_BACK, 244)                                                                                            \
  X(TAG_SURF_EPSILON_OUT, 245)                                                                                         \
  X(TAG_SURF_DELTA_OUT, 246)                                                                                           \
  X(TAG_SURF_GAMMA_OUT, 247)                                                                                           \
  X(TAG_SURF_ALPHA_OUT, 248)                                                                                           \
  X(TAG_SURF_PHI_OUT, 249)                                                                                             \
  /* Traces of a gather, member to leader. */                                                                          \
  X(TAG_GATHER_COUNT, 150)     /* int, 1: traces; 0 none, -1 failed */                                                 \
  X(TAG_GATHER_RECEIVERS, 151) /* byte, 32 a trace: unused word, X, Y, Z */                                            \
  X(TAG_GATHER_INLINE, 152)    /* int, 1 a trace */                                                                    \
  X(TAG_GATHER_CROSSLINE, 153) /* int, 1 a trace */                                                                    \
  X(TAG_GATHER_SAMPLES, 154)   /* float, traces x samples */                                                           \
  X(TAG_GATHER_TRACEID, 155)   /* int, 1 a trace */                                                                    \
  X(TAG_GATHER_FILEID, 156)    /* int, 1 a trace */                                                                    \
  /* Largest P velocity of a group, checked against the time step. */                                                  \
  X(TAG_VMAX_UP, 160)   /* float, 1: member to leader, of its slab */                                                  \
  X(TAG_VMAX_DOWN, 161) /* float, 1: leader to members, of the group */                                                \
  /* Stop signals of a depth group, at each time step. */                                                              \
  X(TAG_STOP_VOTE, 162)    /* int, 1: member to leader, the signal it caught or 0 */                                   \
  X(TAG_STOP_VERDICT, 163) /* int, 1: leader to members, the signal that stops the group or 0 */

#define KELVO_TAG_ENUM(name, value) name = value,
enum { KELVO_WORLD_TAGS(KELVO_TAG_ENUM) };
enum { KELVO_GROUP_TAGS(KELVO_TAG_ENUM) };
#undef KELVO_TAG_ENUM

namespace msg_tags {

#define KELVO_TAG_VALUE(name, value) value,
constexpr int kWorld[] = {KELVO_WORLD_TAGS(KELVO_TAG_VALUE)};
constexpr int kGroup[] = {KELVO_GROUP_TAGS(KELVO_TAG_VALUE)};
#undef KELVO_TAG_VALUE

// True when no value occurs twice among the n tags of p.
constexpr bool AllDistinct(const int* p, size_t n) {
  for (size_t i = 0; i < n; i++)
    for (size_t j = i + 1; j < n; j++)
      if (p[i] == p[j])
        return false;
  return true;
}

static_assert(AllDistinct(kWorld, sizeof(kWorld) / sizeof(kWorld[0])), "two world tags share a value");
static_assert(AllDistinct(kGroup, sizeof(kGroup) / sizeof(kGroup[0])), "two MPI_COMM_MT tags share a value");

} // namespace msg_tags
