#include "YangModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModelTestSupport.h"

using namespace OrvElement;
using ModelTest::awkwardModel;
using ModelTest::errorOf;
using ModelTest::ietfModel;
using ModelTest::typesModel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace
{

std::vector<std::string> childNames(const ModelClass& owner)
{
    std::vector<std::string> names;
    for (const auto& child : owner.children)
    {
        names.push_back(child.first);
    }
    return names;
}

std::vector<std::string> attributeNames(const ModelClass& owner)
{
    std::vector<std::string> names;
    for (const ModelAttribute& attribute : owner.attributes)
    {
        names.push_back((attribute.isKey ? "*" : "") + attribute.name + (attribute.notifiable ? "" : "(state)"));
    }
    return names;
}

const ModelClass& classOf(const YangModel& model, const std::string& below)
{
    const ModelClass* const found = model.classOfDn("ManagedElement=1" + below);
    if (!found)
    {
        throw std::runtime_error("no class for " + below);
    }
    return *found;
}

const ModelAttribute* attribute(const ModelClass& owner, const std::string& name)
{
    for (const ModelAttribute& candidate : owner.attributes)
    {
        if (candidate.name == name)
        {
            return &candidate;
        }
    }
    return nullptr;
}

std::string loadError(const ModelOptions& options)
{
    return errorOf([&] { YangModel model(options); });
}

ModelOptions pinned(const std::vector<std::string>& modules)
{
    ModelOptions options;
    options.yangDirs = {ModelTest::yangDir() + "/revisions"};
    options.modules = modules;
    return options;
}

}  // namespace

TEST(YangModel, TheRootIsTheManagedElementWithItsKeyAndTheTopLeaves)
{
    EXPECT_EQ(awkwardModel().rootClass().name, "ManagedElement");
    EXPECT_TRUE(awkwardModel().rootClass().alwaysThere);
    EXPECT_THAT(attributeNames(awkwardModel().rootClass()), ElementsAre("*managedElementId", "top-leaf"));
}

TEST(YangModel, TopContainersAndListsAreChildrenOfTheRoot)
{
    EXPECT_THAT(childNames(awkwardModel().rootClass()), ElementsAre("box", "orv-augment-two:summit", "row", "summit"));
}

TEST(YangModel, OperationsAndNotificationsAndActionsAreNoClasses)
{
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,restart=1"), nullptr);
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,alarm=1"), nullptr);
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,box=1,strict=a,reset=1"), nullptr);
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,box=1,strict=a,worn=1"), nullptr);
}

TEST(YangModel, ChoicesAndCasesAreTransparent)
{
    EXPECT_NE(attribute(classOf(awkwardModel(), ",box=1"), "tcp-port"), nullptr);
    EXPECT_EQ(classOf(awkwardModel(), ",box=1,custom=1").name, "custom");
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,box=1,transport=1"), nullptr);
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,box=1,tcp=1"), nullptr);
}

TEST(YangModel, AContainersKeyIsItsClassNameWithId)
{
    EXPECT_THAT(attributeNames(classOf(awkwardModel(), ",box=1,option=1")), ElementsAre("*optionId", "mode"));
    EXPECT_EQ(attribute(classOf(awkwardModel(), ",box=1,option=1"), "optionId")->type, 9);
}

TEST(YangModel, AListsKeysAreItsKeyLeavesAndStandFirst)
{
    EXPECT_THAT(attributeNames(classOf(awkwardModel(), ",box=1,pair=a;b")), ElementsAre("*left", "*right", "value"));
}

TEST(YangModel, AListWithoutKeysIsGivenOne)
{
    EXPECT_THAT(attributeNames(classOf(awkwardModel(), ",box=1,unkeyed=1")),
                ElementsAre("*unkeyedId(state)", "text(state)"));
}

TEST(YangModel, StateIsNotNotifiable)
{
    EXPECT_FALSE(attribute(classOf(awkwardModel(), ",box=1"), "observed")->notifiable);
    EXPECT_TRUE(attribute(classOf(awkwardModel(), ",box=1"), "level")->notifiable);
    EXPECT_THAT(attributeNames(classOf(awkwardModel(), ",box=1,state=1")),
                ElementsAre("*stateId(state)", "uptime(state)"));
}

TEST(YangModel, AnydataIsNoAttribute)
{
    EXPECT_EQ(attribute(classOf(awkwardModel(), ",box=1"), "blob"), nullptr);
}

TEST(YangModel, TheSecondOfTwoLeavesOfOneNameIsQualifiedByItsModule)
{
    const ModelClass& box = classOf(awkwardModel(), ",box=1");
    EXPECT_NE(attribute(box, "cost"), nullptr);
    EXPECT_NE(attribute(box, "orv-augment-two:cost"), nullptr);
    EXPECT_EQ(attribute(box, "orv-augment-one:cost"), nullptr);
}

TEST(YangModel, TheSecondOfTwoClassesOfOneNameIsQualifiedByItsModule)
{
    EXPECT_EQ(classOf(awkwardModel(), ",box=1,cover=1").name, "cover");
    EXPECT_EQ(classOf(awkwardModel(), ",box=1,orv-augment-two:cover=1").name, "orv-augment-two:cover");
    EXPECT_THAT(attributeNames(classOf(awkwardModel(), ",box=1,orv-augment-two:cover=1")),
                ElementsAre("*orv-augment-two:coverId", "material"));
}

TEST(YangModel, AClassNameHasNoDotsButAnAttributeKeepsThem)
{
    EXPECT_THAT(attributeNames(classOf(awkwardModel(), ",box=1,dotted_name=1")),
                ElementsAre("*dotted_nameId", "dotted.leaf"));
    EXPECT_EQ(awkwardModel().classOfDn("ManagedElement=1,box=1,dotted.name=1"), nullptr);
}

TEST(YangModel, EveryTypeHasItsCode)
{
    const ModelClass& types = classOf(typesModel(), ",types=1");
    const std::pair<const char*, int> expected[] = {
        {"a-int8", 1},     {"a-int16", 2},      {"a-int32", 3},  {"a-int64", 4},    {"a-uint8", 5},
        {"a-uint16", 6},   {"a-uint32", 7},     {"a-uint64", 8}, {"a-string", 9},   {"a-binary", 9},
        {"a-bits", 9},     {"an-identity", 9},  {"a-union", 9},  {"a-boolean", 10}, {"an-empty", 10},
        {"a-leafref", 11}, {"an-instance", 11}, {"an-enum", 12}, {"a-decimal", 16}, {"numbers", 7},
        {"place", 13}};
    for (const auto& [name, code] : expected)
    {
        ASSERT_NE(attribute(types, name), nullptr) << name;
        EXPECT_EQ(attribute(types, name)->type, code) << name;
    }
}

TEST(YangModel, AStructIsAnAttributeAndNoClass)
{
    EXPECT_EQ(typesModel().classOfDn("ManagedElement=1,types=1,place=1"), nullptr);
    EXPECT_NE(typesModel().classOfDn("ManagedElement=1,types=1,with-list=1"), nullptr);
}

TEST(YangModel, OnlyAContainerWithoutListsCanBeAStruct)
{
    ModelOptions options = ModelTest::typesOptions();
    options.structPaths = {"/orv-types:types/with-list"};
    EXPECT_EQ(loadError(options), "struct /orv-types:types/with-list: the list l in it cannot be a struct member");
    options.structPaths = {"/orv-types:types/numbers"};
    EXPECT_EQ(loadError(options), "struct /orv-types:types/numbers: only a container of the model can be a struct");
    options.structPaths = {"/orv-types:types/nothing"};
    EXPECT_THAT(loadError(options), StartsWith("struct /orv-types:types/nothing: "));
}

TEST(YangModel, ContainersWithoutPresenceAreAlwaysThere)
{
    EXPECT_TRUE(classOf(awkwardModel(), ",box=1").alwaysThere);
    EXPECT_FALSE(classOf(awkwardModel(), ",box=1,option=1").alwaysThere);
    EXPECT_FALSE(classOf(awkwardModel(), ",box=1,item=a").alwaysThere);
}

TEST(YangModel, ADnIsKnownInItsInternalAndInItsExternalForm)
{
    const ModelClass* const internal = ietfModel().classOfDn("ManagedElement=1,interfaces=1,interface=eth0");
    ASSERT_NE(internal, nullptr);
    EXPECT_EQ(internal->name, "interface");
    EXPECT_EQ(ietfModel().classOfDn("ManagedElement=node-7,interfaces=1,interface=eth0"), internal);
}

TEST(YangModel, ADnThatIsNotTheElementsHasNoClass)
{
    for (const char* dn : {"", "ManagedElement", "ManagedElement=2", "ManagedElement=", "Other=1", "ManagedElement=1,",
                           "ManagedElement=1,box", "ManagedElement=1,nothing=1", "ManagedElement=1,box=1,", ",",
                           "ManagedElement=1,,box=1", "=1", "box=1"})
    {
        EXPECT_EQ(awkwardModel().classOfDn(dn), nullptr) << dn;
    }
}

TEST(YangModel, AnyKeyWillDoBelowTheRoot)
{
    EXPECT_NE(awkwardModel().classOfDn("ManagedElement=1,box=*,item="), nullptr);
}

TEST(YangModel, HandlesLeadBackToWhatTheyStandFor)
{
    const ModelClass& box = classOf(awkwardModel(), ",box=1");
    EXPECT_EQ(awkwardModel().classOfHandle(box.handle), &box);
    for (const ModelAttribute& each : box.attributes)
    {
        EXPECT_EQ(awkwardModel().attributeOfHandle(each.handle), &each);
    }
}

TEST(YangModel, AnythingElseIsNoHandle)
{
    const ModelClass& box = classOf(awkwardModel(), ",box=1");
    for (const uint64_t handle :
         {uint64_t(0), ~uint64_t(0), box.attributes[0].handle, box.handle + 100000, ietfModel().rootClass().handle})
    {
        EXPECT_EQ(awkwardModel().classOfHandle(handle), nullptr) << handle;
    }
    for (const uint64_t handle : {uint64_t(0), ~uint64_t(0), box.handle, box.attributes[0].handle + 100000,
                                  ietfModel().rootClass().attributes[0].handle})
    {
        EXPECT_EQ(awkwardModel().attributeOfHandle(handle), nullptr) << handle;
    }
}

TEST(YangModel, TheWalkOverAClassesAttributesEndsWithTheLast)
{
    const ModelClass& pair = classOf(awkwardModel(), ",box=1,pair=a;b");
    EXPECT_EQ(awkwardModel().nextAttribute(pair.attributes[0]), &pair.attributes[1]);
    EXPECT_EQ(awkwardModel().nextAttribute(pair.attributes[2]), nullptr);
}

TEST(YangModel, ThePublishedModulesBecomeClasses)
{
    EXPECT_THAT(attributeNames(classOf(ietfModel(), ",interfaces=1,interface=eth0,ipv4=1,address=10.0.0.1")),
                ElementsAre("*ip", "prefix-length", "netmask"));
    EXPECT_FALSE(classOf(ietfModel(), ",interfaces=1,interface=eth0,ipv4=1").alwaysThere);
    EXPECT_EQ(attribute(classOf(ietfModel(), ",interfaces=1,interface=eth0"), "type")->type, 9);
    EXPECT_FALSE(attribute(classOf(ietfModel(), ",interfaces-state=1,interface=eth0"), "oper-status")->notifiable);
    EXPECT_NE(attribute(classOf(ietfModel(), ",system=1"), "contact"), nullptr);
    EXPECT_NE(ietfModel().classOfDn("ManagedElement=1,interfaces-state=1,interface=eth0,statistics=1"), nullptr);
}

TEST(YangModel, TheLibrarysOwnModulesAreNotTheElements)
{
    EXPECT_THAT(childNames(ietfModel().rootClass()),
                ElementsAre("interfaces", "interfaces-state", "system", "system-state"));
}

TEST(YangModel, WithoutARevisionTheNewestIsTaken)
{
    const YangModel model(pinned({"orv-base"}));
    EXPECT_NE(attribute(classOf(model, ",base=1"), "r2021-01-01"), nullptr);
}

TEST(YangModel, ThePinnedRevisionIsTaken)
{
    const YangModel model(pinned({"orv-base@2020-01-01"}));
    EXPECT_NE(attribute(classOf(model, ",base=1"), "r2020-01-01"), nullptr);
}

TEST(YangModel, AnImportBeforeThePinnedModuleGetsThePinnedRevision)
{
    const YangModel model(pinned({"orv-user", "orv-base@2020-01-01"}));
    EXPECT_NE(attribute(classOf(model, ",base=1"), "r2020-01-01"), nullptr);
    EXPECT_NE(attribute(classOf(model, ",base=1"), "used"), nullptr);
}

TEST(YangModel, AnUnknownModuleIsNamed)
{
    EXPECT_EQ(loadError(pinned({"orv-nowhere"})),
              "YANG module orv-nowhere: Data model \"orv-nowhere\" not found in local searchdirs");
}

TEST(YangModel, AnUnknownRevisionIsNamed)
{
    EXPECT_THAT(loadError(pinned({"orv-base@1999-01-01"})), StartsWith("YANG module orv-base@1999-01-01: "));
}

TEST(YangModel, AnEmptyRevisionIsRefused)
{
    EXPECT_EQ(loadError(pinned({"orv-base@"})), "YANG module orv-base@: the revision behind @ is missing");
}

TEST(YangModel, AModuleWithAnErrorIsNamedWithTheCause)
{
    ModelOptions options = ModelTest::awkwardOptions();
    options.modules = {"orv-broken"};
    EXPECT_THAT(loadError(options), StartsWith("YANG module orv-broken: "));
    EXPECT_THAT(loadError(options), HasSubstr("no-such-type"));
}

TEST(YangModel, ADirectoryThatCannotBeReadIsNamed)
{
    ModelOptions options = pinned({"orv-base"});
    options.yangDirs = {"/no/such/dir"};
    EXPECT_THAT(loadError(options), StartsWith("YANG directory /no/such/dir: "));
    EXPECT_THAT(loadError(options), HasSubstr("No such file or directory"));
    options.yangDirs = {ModelTest::yangDir() + "/orv-types.yang"};
    EXPECT_THAT(loadError(options), StartsWith("YANG directory "));
}

TEST(YangModel, ADirectoryNamedTwiceIsNoError)
{
    ModelOptions options = pinned({"orv-base"});
    options.yangDirs.push_back(options.yangDirs.front());
    EXPECT_EQ(loadError(options), "");
}

TEST(YangModel, AModelNeedsAModule)
{
    EXPECT_EQ(loadError(pinned({})), "no YANG module was named");
}

TEST(YangModel, AnElementNameThatADnCannotHoldIsRefused)
{
    ModelOptions options = pinned({"orv-base"});
    for (const char* name : {"", "a,b", "a=b", "a\nb", "50%"})
    {
        options.elementName = name;
        EXPECT_THAT(loadError(options), StartsWith("element name \"")) << name;
        EXPECT_THAT(loadError(options), Not(HasSubstr("\n")));
    }
}

TEST(YangModel, AnErrorLeavesNothingOnStandardError)
{
    ::testing::internal::CaptureStderr();
    loadError(pinned({"orv-nowhere"}));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}
