/* User data of scene elements, and the camera's position. */
#include "scene.h"

namespace {

using twin::renderer;

constexpr miUint kMagic = 0x11223344, kSwappedMagic = 0x44332211, kOther = 0x0A0B0C0D;

/* object -> block with another magic -> block with ours -> block with ours byte-swapped */
class UserData : public twin::LibraryTest {
protected:
    twin::Database& database = renderer().database;
    miTag swapped = database.addUserdata({kSwappedMagic, 3});
    miTag ours = database.addUserdata({kMagic, 2}, swapped);
    miTag first = database.addUserdata({kOther, 1}, ours);
    miTag object = database.add(miSCENE_OBJECT, sizeof(miObject));
    miTag found = 0;
    miInteger swap = 7;

    UserData() { database.record<miObject>(object).userdata = first; }

    /* Second word of the block that is found, 0 when none is; the block must be the only thing pinned. */
    miUint find(miUint magic, miUint type, miTag start, bool acceptSwapped = false) {
        found = 0;
        const void* data = library::get_userdata(magic, type, start, &found, acceptSwapped ? &swap : nullptr);
        if (!data) {
            EXPECT_EQ(database.pinsInAll(), 0);
            return 0;
        }
        EXPECT_EQ(database.pinsInAll(), 1);
        EXPECT_EQ(database.pins(found), 1);
        EXPECT_EQ(data, &database.record<miUserdata>(found).parameters[0]);
        mi_db_unpin(found);
        return static_cast<const miUint*>(data)[1];
    }
};

TEST_F(UserData, IsFoundAlongTheChain) {
    EXPECT_EQ(find(kMagic, miSCENE_USERDATA, first), 2u);
    EXPECT_EQ(found, ours);
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, object), 2u);
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, object, true), 2u);
    EXPECT_EQ(swap, 0);
    EXPECT_EQ(find(0xDEAD, miSCENE_OBJECT, object), 0u);

    // Out values that nobody wants: the caller knows the tag when he starts at the block itself.
    ASSERT_NE(library::get_userdata(kMagic, miSCENE_USERDATA, ours, nullptr, nullptr), nullptr);
    mi_db_unpin(ours);
}

TEST_F(UserData, OfTheOtherByteOrderIsFoundOnlyOnRequest) {
    database.record<miUserdata>(first).next_data = swapped;
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, object), 0u);
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, object, true), 3u);
    EXPECT_EQ(found, swapped);
    EXPECT_EQ(swap, 1);
}

TEST_F(UserData, OfAnInstanceIsThatOfItsItem) {
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, database.addInstance(object)), 2u);
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, database.addInstance(database.add(miSCENE_LIGHT, sizeof(miLight)))), 0u);
}

TEST_F(UserData, IsNullForEveryOtherElement) {
    const miTag light = database.add(miSCENE_LIGHT, sizeof(miLight));
    const miTag bare = database.add(miSCENE_OBJECT, sizeof(miObject));
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, light), 0u);
    EXPECT_EQ(find(kMagic, miSCENE_LIGHT, light), 0u);  // the wanted type, but only objects are looked into
    EXPECT_EQ(find(kMagic, miSCENE_LIGHT, object), 0u);
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, bare), 0u);
    EXPECT_EQ(find(kMagic, miSCENE_USERDATA, object), 0u);

    // A chain that leads to something else ends there.
    database.record<miUserdata>(first).next_data = light;
    EXPECT_EQ(find(kMagic, miSCENE_OBJECT, object), 0u);
}

class CameraOrigin : public twin::LibraryTest {
protected:
    miVector originWithRow(miScalar x, miScalar y, miScalar z, miScalar w) {
        miScalar* row = renderer().database.record<miInstance>(state->camera_inst).tf.local_to_global + 12;
        row[0] = x, row[1] = y, row[2] = z, row[3] = w;
        miVector origin = {9, 9, 9};
        library::origin_from_camera(state, &origin);
        return origin;
    }
};

TEST_F(CameraOrigin, IsTheTranslationOfTheCameraInstance) {
    for (miScalar w : {1.0f, 0.0f}) {
        const miVector origin = originWithRow(2, 4, 8, w);
        EXPECT_EQ(origin.x, 2);
        EXPECT_EQ(origin.y, 4);
        EXPECT_EQ(origin.z, 8);
    }
    const miVector halved = originWithRow(2, 4, 8, 2);
    EXPECT_EQ(halved.x, 1);
    EXPECT_EQ(halved.y, 2);
    EXPECT_EQ(halved.z, 4);
}

}  // namespace
