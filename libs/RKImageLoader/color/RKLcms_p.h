#pragma once

#include <QByteArray>
#include <QString>

#include <lcms2.h>

#include <memory>
#include <type_traits>

/// Owners of the handles of Little CMS.
namespace RKLcms {

struct ContextDeleter
{
    void operator()(cmsContext context) const
    {
        cmsDeleteContext(context);
    }
};

struct ProfileDeleter
{
    void operator()(cmsHPROFILE profile) const
    {
        cmsCloseProfile(profile);
    }
};

struct TransformDeleter
{
    void operator()(cmsHTRANSFORM transform) const
    {
        cmsDeleteTransform(transform);
    }
};

/// A context of its own keeps the objects of one transform apart from all others; it logs nothing.
/// It has to outlive them.
using Context = std::unique_ptr<std::remove_pointer_t<cmsContext>, ContextDeleter>;
using Profile = std::unique_ptr<void, ProfileDeleter>;
using Transform = std::unique_ptr<void, TransformDeleter>;

Context makeContext();

/// A profile that describes the colours of a picture, for input, display or output. Null for bytes
/// that are none, are cut off or have a matrix that can't be inverted, for device links, named and
/// abstract colours. The bytes are not needed afterwards.
Profile openProfile(const Context& context, const QByteArray& bytes);

/// What the profile calls itself, in English if it knows several languages.
QString nameOf(const Profile& profile);

/// The version of the library that this process has loaded.
QString version();

} // namespace RKLcms
