// Makes "Class::Function" out of a compiler's full function name, at compile time.
//
// Compilers give __PRETTY_FUNCTION__ or __FUNCSIG__ as a whole signature, such as
// "virtual int Name::Space::Class::Function(const char*, int) const". The check macros print the qualified name only,
// alike on every compiler: without the arguments of templates, which one of them spells out and another doesn't, and
// without namespaces that have no name. The body of a lambda is "operator()" of the function that it stands in.
#pragma once

#include <cstddef>
#include <string_view>

template <std::size_t N>
struct VOFunctionNameText
{
    char szText[N] = {};
};

// Reads a signature from its start; what the name has so far is dropped when it turns out to be the result's type.
template <std::size_t N>
class VOFunctionNameReader
{
public:
    constexpr explicit VOFunctionNameReader(const char (&szPretty)[N]) : m_szPretty(szPretty) {}

    constexpr VOFunctionNameText<N> Read()
    {
        bool bMore = true;
        while (bMore && m_szPretty[m_uAt] != 0)
        {
            const char ch = m_szPretty[m_uAt];
            if (ch == 'o' && m_uWord == m_uLength && IsOperator())
            {
                ReadOperator();
                bMore = SkipEnclosing();
            }
            else if (ch == '(')
            {
                bMore = ReadParenthesis();
            }
            else if (ch == '<' && Is("<lambda") && !EndsWithScope(GroupEnd(m_uAt)))
            {
                Append("operator()");
                bMore = false;
            }
            else if (ch == '<' || ch == '[' || ch == '{' || ch == '`')
            {
                m_uAt = GroupEnd(m_uAt);
                DropScope();
            }
            else if (ch == ' ' || ch == '*' || ch == '&')
            {
                m_bBehindDecltype = Named("decltype");
                m_uLength = m_uWord = 0;
                ++m_uAt;
            }
            else
            {
                Append(ch);
                ++m_uAt;
                m_uWord = ch == ':' ? m_uLength : m_uWord;
            }
        }
        VOFunctionNameText<N> name;
        std::string_view(m_szName, m_uLength).copy(name.szText, N - 1);
        return name;
    }

private:
    static constexpr bool IsWordLetter(char ch)
    {
        return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_';
    }

    constexpr bool IsAt(std::size_t uAt, std::string_view text) const
    {
        return std::string_view(m_szPretty + uAt, N - 1 - uAt).starts_with(text);
    }

    constexpr bool Is(std::string_view text) const { return IsAt(m_uAt, text); }
    constexpr bool IsOperator() const { return Is("operator") && !IsWordLetter(m_szPretty[m_uAt + 8]); }

    // Whether the name read so far is this word.
    constexpr bool Named(std::string_view text) const { return std::string_view(m_szName, m_uLength) == text; }

    constexpr void Append(char ch) { m_szName[m_uLength++] = ch; }
    constexpr void Append(std::string_view text) { m_uLength += text.copy(m_szName + m_uLength, text.size()); }

    // The place behind the group of brackets that begins at a place.
    constexpr std::size_t GroupEnd(std::size_t uAt) const
    {
        if (m_szPretty[uAt] == 0)
        {
            return uAt;
        }
        constexpr std::string_view kOpen = "(<[{`";
        const char chOpen = m_szPretty[uAt];
        const std::size_t uKind = kOpen.find(chOpen);
        const char chClose = uKind < kOpen.size() ? ")>]}'"[uKind] : '\'';
        int nDepth = 1;
        for (++uAt; m_szPretty[uAt] != 0 && nDepth > 0; ++uAt)
        {
            const char ch = m_szPretty[uAt];
            nDepth += ch == chOpen ? 1 : ch == chClose ? -1 : 0;
        }
        return uAt;
    }

    constexpr bool EndsWithScope(std::size_t uAt) const { return IsAt(uAt, "::"); }

    // What had no name was the scope of what follows: the name goes on without it.
    constexpr void DropScope()
    {
        const bool bNothingBefore = m_uWord == m_uLength;
        if (bNothingBefore && EndsWithScope(m_uAt))
        {
            m_uAt += 2;
        }
    }

    // Behind parameters: true when they are those of a function that encloses what is named, and are passed over.
    constexpr bool SkipEnclosing()
    {
        if (m_szPretty[m_uAt] != '(')
        {
            return false;
        }
        std::size_t uAt = GroupEnd(m_uAt);
        uAt += IsAt(uAt, " const") ? 6 : 0;
        uAt += IsAt(uAt, " volatile") ? 9 : 0;
        uAt += IsAt(uAt, " &&") ? 3 : IsAt(uAt, " &") ? 2 : 0;
        if (!EndsWithScope(uAt))
        {
            return false;
        }
        m_uAt = uAt;
        return true;
    }

    // False at the end of the name.
    constexpr bool ReadParenthesis()
    {
        if (Is("(anonymous") || Is("(unnamed") || Is("(lambda"))
        {
            m_uAt = GroupEnd(m_uAt);
            DropScope();
            return true;
        }
        if (Named("decltype") || (m_uLength == 0 && m_bBehindDecltype))
        {
            m_uAt = GroupEnd(m_uAt);
            m_uLength = m_uWord = 0;
            m_bBehindDecltype = false;
            return true;
        }
        // Without a name yet the result stands around it: a pointer to a function, say.
        m_uAt += m_uLength == 0 ? 1 : 0;
        return m_uLength == 0 || SkipEnclosing();
    }

    constexpr void ReadOperator()
    {
        Append("operator");
        m_uAt += 8;
        const std::size_t uSign = std::string_view(m_szPretty).find_first_not_of(' ', m_uAt);
        if (IsAt(uSign, "()"))
        {
            Append("()");
            m_uAt = uSign + 2;
        }
        else if (IsWordLetter(m_szPretty[uSign]))
        {
            m_uAt = uSign;
            Append(' ');
            ReadType();
        }
        else
        {
            for (m_uAt = uSign; m_szPretty[m_uAt] != '(' && m_szPretty[m_uAt] != 0; ++m_uAt)
            {
                if (m_szPretty[m_uAt] != ' ')
                {
                    Append(m_szPretty[m_uAt]);
                }
            }
        }
    }

    // The type that is converted to, or "new" and "delete": up to the parameters.
    constexpr void ReadType()
    {
        for (char ch = m_szPretty[m_uAt]; ch != 0; ch = m_szPretty[m_uAt])
        {
            if (ch == '<')
            {
                m_uAt = GroupEnd(m_uAt);
                continue;
            }
            if (ch == '(' && (m_szPretty[m_uAt + 1] != '*' && m_szPretty[m_uAt + 1] != '&'))
            {
                return;
            }
            const char chNext = m_szPretty[m_uAt + 1];
            if (ch == '(')
            {
                // The type of a function's address: what stands in brackets, and the parameters behind it.
                for (std::size_t uEnd = GroupEnd(GroupEnd(m_uAt)); m_uAt < uEnd; ++m_uAt)
                {
                    Append(m_szPretty[m_uAt]);
                }
                continue;
            }
            if (ch != ' ' || IsWordLetter(chNext))
            {
                Append(ch);
            }
            ++m_uAt;
        }
    }

    const char (&m_szPretty)[N];
    char m_szName[N + 16] = {};
    std::size_t m_uAt = 0;
    std::size_t m_uLength = 0;
    std::size_t m_uWord = 0;  // where the part behind the last "::" begins
    bool m_bBehindDecltype = false;
};

template <std::size_t N>
constexpr VOFunctionNameText<N> VOFunctionName(const char (&szPretty)[N])
{
    return VOFunctionNameReader<N>(szPretty).Read();
}
