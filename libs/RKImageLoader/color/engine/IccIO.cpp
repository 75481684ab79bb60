#include <IccIO.h>

bool CIccMemIO::Attach(icUInt8Number* pData, icUInt32Number nSize, bool)
{
    m_data = pData;
    m_size = pData ? nSize : 0;
    return pData;
}

const icUInt8Number* CIccMemIO::GetData() const
{
    return m_data;
}

icUInt32Number CIccMemIO::GetLength() const
{
    return m_size;
}

void CIccMemIO::Close()
{
    m_data = nullptr;
    m_size = 0;
}
