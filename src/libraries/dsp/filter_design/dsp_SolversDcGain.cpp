#include "dsp_MatchingSolvers.h"

namespace dsp {

// Placeholders until the DC-gain and unit-top families land.
void solveDcGainFourPoints(double, double, double, double, double, double, double, double, double, double*,
                           double*, double*, double*)
{
    throw EquationSolutionException();
}

void solveDcGainExtremumTwoPoints(double, double, double, double, double, double, double, double*, double*,
                                  double*, double*)
{
    throw EquationSolutionException();
}

void solveUnitTopThreePoints(double, double, double, double, double, double, double, double*, double*, double*)
{
    throw EquationSolutionException();
}

void solveUnitTopExtremumCrossing(double, double, double, double, double*, double*, double*)
{
    throw EquationSolutionException();
}

} // namespace dsp
