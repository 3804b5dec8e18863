// One visit of a reader to a data section, of either kind. From Enter to Leave the publisher sees that somebody is
// inside; the end of the scope leaves in any case.
#pragma once

#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"

class VOSectionVisit : public VOSectionView
{
public:
    ~VOSectionVisit() { Leave(); }

    // Before the section is opened.
    void Enter(unsigned int& uReaderCount)
    {
        m_puReaderCount = &uReaderCount;
        _StepReaders(1);
    }

    void Leave()
    {
        Close();
        if (m_puReaderCount != nullptr)
        {
            _StepReaders(-1);
            m_puReaderCount = nullptr;
        }
    }

    // Leaves, and gives the word that tells what the data were. It is loaded from inside, when they have been read: a
    // publisher doesn't move it while a reader is there, so it is the one of the data. A publication that comes as soon
    // as the reader has left shows as a change.
    template <typename T>
    T LeaveWith(const T& word)
    {
        const T value = VOLoadWord(word);
        Leave();
        return value;
    }

private:
    // Plainly, not in one step: so all readers of this protocol do, and a publisher bounds its wait for the count.
    void _StepReaders(int nStep)
    {
        VOStoreWord(*m_puReaderCount, VOLoadWord(*m_puReaderCount) + static_cast<unsigned int>(nStep));
    }

    unsigned int* m_puReaderCount = nullptr;
};
