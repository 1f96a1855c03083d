#include "cluster/StopOrder.h"

#include <mpi.h>

#include "cluster/MessageTags.h"
#include "common.h"

bool cluster_StopOrdered() {
  int bInit = 0, bFinal = 0;
  MPI_Initialized(&bInit);
  MPI_Finalized(&bFinal);
  if (!bInit || bFinal)
    return false;
  int bFlag = 0;
  MPI_Status status;
  MPI_Iprobe(0, TAG_STOP_ORDER, MPI_COMM_WORLD, &bFlag, &status);
  if (bFlag)
    u_Error("Error! Received an urgent terminate request by the boss (Node #0).\n");
  return bFlag != 0;
}
