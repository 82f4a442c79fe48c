#include "ModelRepositoryWrapper.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "RecordingPortal.h"

namespace
{

// A model of one class, handle 100, with the attributes that a test gives it, handles 1, 2, 3 ...
struct Model
{
    std::vector<std::string> attributes;
    std::vector<bool> notifiable;
    ZelReturnT failure = OrvOk;        // what every function answers, unless it is OrvOk
    ZelReturnT failureOfNext = OrvOk;  // of getNextAttribute alone
    bool withoutNames = false;
    std::string askedDn;
};
Model* model;

ZelReturnT getMocFromDn(const char* dn, OrvOamSpiMocHandleT* moc)
{
    model->askedDn = dn;
    if (model->failure != OrvOk)
    {
        *moc = 55;  // must not be taken for a class
        return model->failure;
    }
    *moc = 100;
    return OrvOk;
}

ZelReturnT getMocName(OrvOamSpiMocHandleT moc, const char** name)
{
    *name = model->withoutNames || moc != 100 ? nullptr : "Interface";
    return model->failure;
}

ZelReturnT attributeAt(size_t index, OrvOamSpiAttributeHandleT* attribute)
{
    if (index >= model->attributes.size())
    {
        return OrvNotFound;
    }
    *attribute = index + 1;
    return OrvOk;
}

ZelReturnT getFirstAttribute(OrvOamSpiMocHandleT, OrvOamSpiAttributeHandleT* attribute)
{
    return model->failure != OrvOk ? model->failure : attributeAt(0, attribute);
}

ZelReturnT getNextAttribute(OrvOamSpiAttributeHandleT attribute, OrvOamSpiAttributeHandleT* next)
{
    return model->failureOfNext != OrvOk ? model->failureOfNext : attributeAt(attribute, next);
}

ZelReturnT getAttributeName(OrvOamSpiAttributeHandleT attribute, const char** name)
{
    *name = model->withoutNames ? nullptr : model->attributes[attribute - 1].c_str();
    return model->failure;
}

ZelReturnT getAttributeNotifiable(OrvOamSpiAttributeHandleT attribute, bool* notifiable)
{
    *notifiable = model->notifiable[attribute - 1];
    return model->failure;
}

class ModelRepositoryWrapper : public testing::Test
{
protected:
    ModelRepositoryWrapper()
    {
        model = &_model;
        _framework.offer("OrvOamSpiModelRepository", &_table);
        _framework.init(3);
    }

    void useAttributes(const std::vector<std::string>& names)
    {
        _model.attributes = names;
        _model.notifiable.assign(names.size(), true);
    }

    static std::vector<std::string> namesOf(const Orv::ModRepWrap::Moc& moc)
    {
        std::vector<std::string> names;
        for (Orv::ModRepWrap::AttributeIterator at = moc.attributesBegin(); at != moc.attributesEnd(); ++at)
        {
            names.push_back((*at).getName());
        }
        return names;
    }

    RecordingPortal _framework;
    Model _model;
    OrvOamSpiModelRepository_2 _table = {{nullptr, "OrvOamSpiModelRepository", "2"},
                                         &getMocFromDn,
                                         &getMocName,
                                         &getFirstAttribute,
                                         &getNextAttribute,
                                         &getAttributeName,
                                         &getAttributeNotifiable};
    const Orv::ModRepWrap::Entry _entry{};
    const Orv::ModRepWrap::Moc _class{100};
};

TEST_F(ModelRepositoryWrapper, GivesTheTableOfTheFramework)
{
    EXPECT_EQ(Orv::ModRepWrap::spi(), &_table);
    EXPECT_EQ(&Orv::ModRepWrap::requireSpi(), &_table);
}

TEST_F(ModelRepositoryWrapper, TakesAHandleOfAllOnesForNone)
{
    uint64_t handle = 0;
    EXPECT_FALSE(Orv::ModRepWrap::isHandleNull(handle));
    Orv::ModRepWrap::nullHandle(handle);
    EXPECT_EQ(handle, 0xffffffffffffffffull);
    EXPECT_TRUE(Orv::ModRepWrap::isHandleNull(handle));
    EXPECT_FALSE(Orv::ModRepWrap::isHandleNull(0xfffffffffffffffeull));
}

TEST_F(ModelRepositoryWrapper, FindsTheClassOfADnAndItsName)
{
    const Orv::ModRepWrap::Moc found = _entry.getMocFromDn("A=1,Interface=2");
    EXPECT_EQ(_model.askedDn, "A=1,Interface=2");
    EXPECT_EQ(found.getHandle(), 100u);
    EXPECT_EQ(found.getName(), "Interface");
}

TEST_F(ModelRepositoryWrapper, GivesANullHandleForADnWithoutAClass)
{
    _model.failure = OrvNotFound;
    EXPECT_TRUE(Orv::ModRepWrap::isHandleNull(_entry.getMocFromDn("A=1").getHandle()));
}

TEST_F(ModelRepositoryWrapper, WalksTheAttributesInTheRepositorysOrder)
{
    useAttributes({"c", "a", "b"});
    EXPECT_EQ(namesOf(_class), (std::vector<std::string>{"c", "a", "b"}));
}

TEST_F(ModelRepositoryWrapper, BeginsAtTheEndForAClassWithoutAttributes)
{
    EXPECT_TRUE(_class.attributesBegin() == _class.attributesEnd());
}

TEST_F(ModelRepositoryWrapper, ReachesTheLastAttributeBeforeTheEnd)
{
    useAttributes({"a", "b"});
    Orv::ModRepWrap::AttributeIterator at = _class.attributesBegin();
    ++at;
    EXPECT_TRUE(at != _class.attributesEnd());
    EXPECT_EQ((*at).getName(), "b");
    ++at;
    EXPECT_TRUE(at == _class.attributesEnd());
}

TEST_F(ModelRepositoryWrapper, ComparesIteratorsByHandleUntilBothAreAtTheEnd)
{
    useAttributes({"a", "b"});
    Orv::ModRepWrap::AttributeIterator one = _class.attributesBegin();
    Orv::ModRepWrap::AttributeIterator other = _class.attributesBegin();
    EXPECT_TRUE(one == other);
    ++one;
    EXPECT_FALSE(one == other);
    ++one;
    ++other;
    ++other;
    EXPECT_TRUE(one == other);
}

TEST_F(ModelRepositoryWrapper, TellsWhichAttributeIsNotifiable)
{
    useAttributes({"a", "b"});
    _model.notifiable = {true, false};
    Orv::ModRepWrap::AttributeIterator at = _class.attributesBegin();
    EXPECT_TRUE((*at).isNotifiable());
    ++at;
    EXPECT_FALSE((*at).isNotifiable());
}

TEST_F(ModelRepositoryWrapper, ThrowsForEveryFailureCode)
{
    useAttributes({"a"});
    const Orv::ModRepWrap::AttrDescriptor attribute(1);
    _model.failure = -7;
    EXPECT_THROW(_entry.getMocFromDn("A=1"), Orv::OrvException);
    EXPECT_THROW(_class.getName(), Orv::OrvException);
    EXPECT_THROW(_class.attributesBegin(), Orv::OrvException);
    EXPECT_THROW(attribute.getName(), Orv::OrvException);
    EXPECT_THROW(attribute.isNotifiable(), Orv::OrvException);
}

TEST_F(ModelRepositoryWrapper, ThrowsForAFailureDuringTheWalk)
{
    useAttributes({"a", "b"});
    Orv::ModRepWrap::AttributeIterator at = _class.attributesBegin();
    _model.failureOfNext = 5;
    EXPECT_THROW(++at, Orv::OrvException);
}

TEST_F(ModelRepositoryWrapper, NamesTheCodeInItsException)
{
    EXPECT_NO_THROW(Orv::ModRepWrap::verifyModelRepositoryRetCode(OrvOk));
    for (const int code : {-2, -1, 1, 42})
    {
        try
        {
            Orv::ModRepWrap::verifyModelRepositoryRetCode(code);
            FAIL() << "code " << code << " is no success";
        }
        catch (const Orv::OrvException& exception)
        {
            EXPECT_EQ(exception.what(), "The model repository failed with code " + std::to_string(code));
        }
    }
}

TEST_F(ModelRepositoryWrapper, ThrowsForANameThatIsNull)
{
    useAttributes({"a"});
    _model.withoutNames = true;
    EXPECT_THROW(_class.getName(), Orv::OrvException);
    EXPECT_THROW(Orv::ModRepWrap::AttrDescriptor(1).getName(), Orv::OrvException);
}

TEST_F(ModelRepositoryWrapper, ThrowsInsteadOfCrashingWithoutARepository)
{
    useAttributes({"a"});
    orvCommonTerminate();
    const StandardErrorCapture capture;
    EXPECT_EQ(Orv::ModRepWrap::spi(), nullptr);
    EXPECT_THROW(Orv::ModRepWrap::requireSpi(), Orv::OrvException);
    EXPECT_THROW(_entry.getMocFromDn("A=1"), Orv::OrvException);
    EXPECT_THROW(_class.attributesBegin(), Orv::OrvException);
    EXPECT_THROW(Orv::ModRepWrap::AttrDescriptor(1).isNotifiable(), Orv::OrvException);
}

TEST_F(ModelRepositoryWrapper, WarnsWhenTheFrameworkHasNoRepository)
{
    orvCommonTerminate();
    StandardErrorCapture capture;
    Orv::ModRepWrap::spi();
    EXPECT_EQ(capture.writes(), std::vector<std::string>{"[4] lookup: Interface OrvOamSpiModelRepository not found\n"});
}

TEST(ModelRepositoryWrapperDeathTest, EndsTheProcessForAStepBehindTheEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Orv::ModRepWrap::AttributeIterator end;
    EXPECT_DEATH(++end, "!_last");
}

}  // namespace
