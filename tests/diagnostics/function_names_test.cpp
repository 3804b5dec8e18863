// The function that a check's line names, for everything that a function can be.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "vo_log.h"

using namespace votest;

// Each function fails a check, so that the last line names it.
#define VOTEST_NO 0

namespace votest_operators
{
struct Key
{
    bool operator<(const Key&) const
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return false;
    }
    bool operator>(const Key&) const
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return false;
    }
    Key* operator->()
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return this;
    }
    Key& operator<<(int)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return *this;
    }
    int operator()(int)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return 0;
    }
    int operator[](int)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return 0;
    }
    operator bool() const
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return false;
    }
    operator const char*() const
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return nullptr;
    }
    static void* operator new(size_t uSize)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return ::operator new(uSize);
    }
    static void operator delete(void* pvBlock) { ::operator delete(pvBlock); }
    static void* operator new[](size_t uSize)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return ::operator new(uSize);
    }
    static void operator delete[](void* pvBlock) { ::operator delete(pvBlock); }
    int operatorName()
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return 0;
    }

    int (*FunctionResult(int))(char)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return nullptr;
    }
    int (&ArrayResult())[3]
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return m_anValue;
    }
    int (Key::*MemberResult())(int)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return nullptr;
    }

    int m_anValue[3] = {};
};

bool operator==(const Key&, const Key&)
{
    VO_CHECK_ERROR(VOTEST_NO);
    return false;
}

long double operator""_votest(long double fValue)
{
    VO_CHECK_ERROR(VOTEST_NO);
    return fValue;
}

decltype(auto) Deduced()
{
    VO_CHECK_ERROR(VOTEST_NO);
    return 1;
}

template <typename T>
struct Box
{
    Box() { VO_CHECK_ERROR(VOTEST_NO); }
    T Get(T value) const
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return value;
    }
    template <typename U>
    std::vector<U> Many(const std::vector<std::pair<T, U>>&)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return {};
    }
    bool operator<(const Box&) const
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return false;
    }
};

template <typename T>
auto FreeTemplate(T value)
{
    VO_CHECK_ERROR(VOTEST_NO);
    return value;
}

int Enclosing()
{
    struct Local
    {
        int Inside() const
        {
            VO_CHECK_ERROR(VOTEST_NO);
            return 1;
        }
    };
    return Local().Inside();
}

int WithALambda()
{
    return [](int nValue)
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return nValue;
    }(1);
}

namespace
{
struct Unseen
{
    int Function()
    {
        VO_CHECK_ERROR(VOTEST_NO);
        return 0;
    }
};

int Hidden()
{
    VO_CHECK_ERROR(VOTEST_NO);
    return 0;
}
}  // namespace
}  // namespace votest_operators

using namespace votest_operators;

namespace
{
int AtTheTop()
{
    VO_CHECK_ERROR(VOTEST_NO);
    return 0;
}

// What the last captured line names, less the namespace of these tests.
std::string Named(const LogCapture& log)
{
    const std::string strMark = " at line # in ";
    const std::string strSpace = "votest_operators::";
    const std::string strLine = log.Lines().back();
    std::string strName = strLine.substr(strLine.find(strMark) + strMark.size());
    strName.pop_back();
    return strName.compare(0, strSpace.size(), strSpace) == 0 ? strName.substr(strSpace.size()) : strName;
}

template <size_t N>
std::string Made(const char (&szPretty)[N])
{
    return VOFunctionName(szPretty).szText;
}
}  // namespace

TEST(FunctionNames, AnOperatorHasItsSign)
{
    const LogCapture log;
    Key key;
    EXPECT_FALSE(key < key);
    EXPECT_EQ("Key::operator<", Named(log));
    EXPECT_FALSE(key > key);
    EXPECT_EQ("Key::operator>", Named(log));
    key.operator->();
    EXPECT_EQ("Key::operator->", Named(log));
    key << 1;
    EXPECT_EQ("Key::operator<<", Named(log));
    key(1);
    EXPECT_EQ("Key::operator()", Named(log));
    key.operator[](1);
    EXPECT_EQ("Key::operator[]", Named(log));
    EXPECT_FALSE(key == key);
    EXPECT_EQ("operator==", Named(log));
    (void)1.0_votest;
    EXPECT_EQ("operator\"\"_votest", Named(log));
    delete new Key;
    EXPECT_EQ("Key::operator new", Named(log));
    delete[] new Key[2];
    EXPECT_EQ("Key::operator new[]", Named(log));
    key.operatorName();
    EXPECT_EQ("Key::operatorName", Named(log));
}

TEST(FunctionNames, AConversionHasItsType)
{
    const LogCapture log;
    const Key key;
    EXPECT_FALSE(key.operator bool());
    EXPECT_EQ("Key::operator bool", Named(log));
    EXPECT_EQ(nullptr, key.operator const char*());
    EXPECT_EQ("Key::operator const char*", Named(log));
}

TEST(FunctionNames, AResultThatStandsAroundTheNameIsNoPartOfIt)
{
    const LogCapture log;
    Key key;
    key.FunctionResult(1);
    EXPECT_EQ("Key::FunctionResult", Named(log));
    key.ArrayResult();
    EXPECT_EQ("Key::ArrayResult", Named(log));
    key.MemberResult();
    EXPECT_EQ("Key::MemberResult", Named(log));
    Deduced();
    EXPECT_EQ("Deduced", Named(log));
}

TEST(FunctionNames, ATemplateIsNamedWithoutItsArguments)
{
    const LogCapture log;
    Box<std::vector<int>> box;
    EXPECT_EQ("Box::Box", Named(log));
    box.Get({});
    EXPECT_EQ("Box::Get", Named(log));
    box.Many<char>({});
    EXPECT_EQ("Box::Many", Named(log));
    EXPECT_FALSE(box < box);
    EXPECT_EQ("Box::operator<", Named(log));
    FreeTemplate(1);
    EXPECT_EQ("FreeTemplate", Named(log));
}

TEST(FunctionNames, ANamespaceWithoutANameIsLeftOut)
{
    const LogCapture log;
    AtTheTop();
    EXPECT_EQ("AtTheTop", Named(log));
    Hidden();
    EXPECT_EQ("Hidden", Named(log));
    Unseen().Function();
    EXPECT_EQ("Unseen::Function", Named(log));
}

TEST(FunctionNames, WhatStandsInsideAFunctionHasItsNameInFront)
{
    const LogCapture log;
    Enclosing();
    EXPECT_EQ("Enclosing::Local::Inside", Named(log));
    WithALambda();
    EXPECT_EQ("WithALambda::operator()", Named(log));
}

TEST(FunctionNames, TheSignaturesOfAllCompilersGiveOneName)
{
    EXPECT_EQ("A::F", Made("virtual int A::F(const char*, int) const"));
    EXPECT_EQ("A::F", Made("int __cdecl A::F(const char *,int) const"));
    EXPECT_EQ("N::F", Made("int N::{anonymous}::F()"));
    EXPECT_EQ("N::F", Made("int N::(anonymous namespace)::F()"));
    EXPECT_EQ("N::F", Made("int __cdecl N::`anonymous-namespace'::F(void)"));
    EXPECT_EQ("Box::Get", Made("T Box<T>::Get(T) const [with T = std::vector<int>]"));
    EXPECT_EQ("Box::Get", Made("T Box<std::vector<int>>::Get(T) const [T = std::vector<int>]"));
    EXPECT_EQ("F::operator()", Made("F(int)::<lambda(int)>"));
    EXPECT_EQ("F::operator()", Made("auto F(int)::(anonymous class)::operator()(int) const"));
    EXPECT_EQ("A::F::operator()", Made("A::F(int) const::<lambda(int)>"));
    EXPECT_EQ("A::F", Made("int (* A::F(int))(char)"));
    EXPECT_EQ("A::F", Made("int (*A::F(int))(char)"));
    EXPECT_EQ("A::operator const char*", Made("A::operator const char *() const"));
    EXPECT_EQ("A::operator()", Made("int __cdecl A::operator ()(int)"));
    EXPECT_EQ("A::operator new[]", Made("static void* A::operator new [](size_t)"));
    EXPECT_EQ("Text", Made("std::string Text[abi:cxx11](int)"));
    EXPECT_EQ("main", Made("int main()"));
    EXPECT_EQ("", Made(""));
}
