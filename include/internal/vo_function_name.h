// Makes "Class::Function" out of a compiler's full function name, at compile time.
//
// Compilers give __PRETTY_FUNCTION__ or __FUNCSIG__ as a whole signature, such as
// "virtual int Name::Space::Class::Function(const char*, int) const". The check macros print the qualified
// name only, alike on every compiler.
#pragma once

#include <cstddef>

template <std::size_t N>
struct VOFunctionNameText
{
    char szText[N] = {};
};

template <std::size_t N>
constexpr VOFunctionNameText<N> VOFunctionName(const char (&szPretty)[N])
{
    // The name ends at the first parenthesis outside template brackets, and begins behind the last separator before
    // it. "(anonymous namespace)::", as one compiler writes it, isn't part of the name.
    constexpr char szAnonymous[] = "(anonymous namespace)::";
    constexpr std::size_t uAnonymous = sizeof(szAnonymous) - 1;
    std::size_t uFirst = 0;
    std::size_t uEnd = 0;
    int nDepth = 0;
    while (szPretty[uEnd] != 0)
    {
        if (szPretty[uEnd] == '(' && nDepth == 0)
        {
            std::size_t uSame = 0;
            while (uSame < uAnonymous && szPretty[uEnd + uSame] == szAnonymous[uSame])
            {
                ++uSame;
            }
            if (uSame < uAnonymous)
            {
                break;
            }
            uEnd += uAnonymous;
            uFirst = uEnd;
            continue;
        }
        nDepth += szPretty[uEnd] == '<' ? 1 : szPretty[uEnd] == '>' ? -1 : 0;
        ++uEnd;
    }

    std::size_t uBegin = uEnd;
    nDepth = 0;
    while (uBegin > uFirst)
    {
        const char ch = szPretty[uBegin - 1];
        if (nDepth == 0 && (ch == ' ' || ch == '*' || ch == '&'))
        {
            break;
        }
        nDepth += ch == '>' ? 1 : ch == '<' ? -1 : 0;
        --uBegin;
    }

    VOFunctionNameText<N> kName;
    for (std::size_t i = uBegin; i < uEnd; ++i)
    {
        kName.szText[i - uBegin] = szPretty[i];
    }
    return kName;
}
