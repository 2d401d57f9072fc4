#include "dsp_MatchingSolvers.h"

namespace dsp {

// Placeholders until the fixed-top family lands.
void solveFixedTopThreePoints(double, double, double, double, double, double, double, double*, double*, double*)
{
    throw EquationSolutionException();
}

void solveFixedTopExtremumCrossing(double, double, double, double, double*, double*, double*)
{
    throw EquationSolutionException();
}

void solveFixedTopTwoExtremaValues(double, double, double, double, double*, double*, double*, double*)
{
    throw EquationSolutionException();
}

void solveFixedTopKnownCornerTwoPoints(double, double, double, double, double, double, double*, double*)
{
    throw EquationSolutionException();
}

void solveFixedTopExtremumPoint(double, double, double, double, double, double*, double*, double*)
{
    throw EquationSolutionException();
}

} // namespace dsp
