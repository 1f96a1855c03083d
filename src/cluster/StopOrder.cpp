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

bool cluster_SignalStop(int nGroupSize, int nGroupRank, int nNode, int nShot, int nStep, int nSteps) {
  int nSignal = run_StopSignal();
  if (nGroupSize > 1) {
    MPI_Status st;
    const int nLeader = nNode - nGroupRank;
    if (nGroupRank == 0) {
      for (int r = 1; r < nGroupSize; r++) {
        int nVote = 0;
        MPI_Recv(&nVote, 1, MPI_INT, nLeader + r, TAG_STOP_VOTE, MPI_COMM_MT, &st);
        if (nSignal == 0)
          nSignal = nVote;
      }
      for (int r = 1; r < nGroupSize; r++)
        MPI_Send(&nSignal, 1, MPI_INT, nLeader + r, TAG_STOP_VERDICT, MPI_COMM_MT);
    } else {
      MPI_Send(&nSignal, 1, MPI_INT, nLeader, TAG_STOP_VOTE, MPI_COMM_MT);
      MPI_Recv(&nSignal, 1, MPI_INT, nLeader, TAG_STOP_VERDICT, MPI_COMM_MT, &st);
    }
  }
  if (nSignal == 0)
    return false;
  u_Error("Error! Stopped by %s before time step %d of %d of shot %d: the shot is left unfinished and writes no "
          "gathers.\n",
          run_SignalName(nSignal), nStep + 1, nSteps, nShot);
  return true;
}
