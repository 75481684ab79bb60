#pragma once

// The part of SampleICC's interface that the colour conversion uses, over Little CMS 2. The names
// and signatures are those of that library, which stands in for these files where it is installed.

using icUInt8Number = unsigned char;
using icUInt32Number = unsigned int;
using icFloatNumber = float;

/// Bytes that can be read.
class CIccIO
{
public:
    CIccIO() = default;
    CIccIO(const CIccIO&) = delete;
    CIccIO& operator=(const CIccIO&) = delete;
    virtual ~CIccIO() = default;

    virtual const icUInt8Number* GetData() const = 0;
    virtual icUInt32Number GetLength() const = 0;
    virtual void Close() = 0;
};

/// Bytes of the caller, which have to stay until Close().
class CIccMemIO : public CIccIO
{
public:
    /// False for a null pointer. Nothing is ever written.
    bool Attach(icUInt8Number* pData, icUInt32Number nSize, bool bWrite = false);

    const icUInt8Number* GetData() const override;
    icUInt32Number GetLength() const override;
    void Close() override;

private:
    const icUInt8Number* m_data = nullptr;
    icUInt32Number m_size = 0;
};
