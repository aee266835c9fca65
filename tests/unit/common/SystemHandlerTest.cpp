#include "identity/IdentityHandler.h"

#include <gtest/gtest.h>

using namespace pemo::system;

TEST(SystemHandlerTest, OnlyCallersHoldingEveryPermissionAreAllowed)
{
    const IdentityHandler handler;
    EXPECT_TRUE(handler.allows(pemo::Permissions(true)));
    EXPECT_FALSE(handler.allows(pemo::Permissions(false)));

    bool pemo::Permissions::*flags[] = {&pemo::Permissions::recordVideo, &pemo::Permissions::recordAudio,
                                        &pemo::Permissions::takePhoto, &pemo::Permissions::firePhotonTorpedos};
    for (auto flag : flags)
    {
        pemo::Permissions held(true);
        held.*flag = false;
        EXPECT_FALSE(handler.allows(held));
    }
}
