// Thousands of random operations on a container and on its model, compared after each step and, as whole images, on the
// way through every role and form of loading.
#include "assetindex/random_run.h"

namespace
{

using namespace assettest;

class RandomModel : public testing::TestWithParam<int>
{
};

TEST_P(RandomModel, ContainerAndModelAgreeAfterEveryStepAndInEveryForm)
{
    QuietLoop quiet;
    RandomRun run(static_cast<uint64_t>(GetParam()));
    for (int nStep = 1; nStep <= 3000; ++nStep)
    {
        quiet.Next();
        run.Step();
        ASSERT_FALSE(HasFatalFailure()) << "step " << nStep;
        if (nStep % 300 == 0)
        {
            run.RoundTrip();
            ASSERT_FALSE(HasFatalFailure()) << "after step " << nStep;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomModel, testing::Range(1, 21));

}  // namespace
