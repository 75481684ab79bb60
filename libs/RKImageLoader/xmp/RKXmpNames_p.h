#pragma once

#include <QLatin1String>

#include <string_view>

/// A namespace and the prefix under which the library writes it.
struct RKXmpNamespace
{
    std::string_view prefix;
    std::string_view uri;
};

/// Names that the library itself looks at in XMP packets (ISO 16684-1; regions as in the Guidelines
/// for Handling Image Metadata of the Metadata Working Group, version 2.0, 5.9).
namespace RKXmpNames {

constexpr RKXmpNamespace kRdfNamespace{"rdf", "http://www.w3.org/1999/02/22-rdf-syntax-ns#"};
constexpr RKXmpNamespace kRdfSchemaNamespace{"rdfs", "http://www.w3.org/2000/01/rdf-schema#"};
constexpr RKXmpNamespace kMetaNamespace{"x", "adobe:ns:meta"};
constexpr RKXmpNamespace kRegionsNamespace{
    "mwg-rs", "http://www.metadataworkinggroup.com/schemas/regions/"};
constexpr RKXmpNamespace kAreaNamespace{"stArea", "http://ns.adobe.com/xmp/sType/Area#"};
constexpr RKXmpNamespace kDimensionsNamespace{
    "stDim", "http://ns.adobe.com/xap/1.0/sType/Dimensions#"};
/// exiv2 takes it for "namespaceTAMO/".
constexpr RKXmpNamespace kHostNamespace{"TAMO", "namespaceTAMO"};

constexpr QLatin1String kRdf("rdf:RDF");
constexpr QLatin1String kDescription("rdf:Description");
constexpr QLatin1String kAbout("rdf:about");
constexpr QLatin1String kParseType("rdf:parseType");
constexpr QLatin1String kBag("rdf:Bag");
constexpr QLatin1String kSeq("rdf:Seq");
constexpr QLatin1String kListItem("rdf:li");

constexpr QLatin1String kRegions("mwg-rs:Regions");
constexpr QLatin1String kRegionList("mwg-rs:RegionList");
constexpr QLatin1String kAppliedTo("mwg-rs:AppliedToDimensions");
constexpr QLatin1String kArea("mwg-rs:Area");
constexpr QLatin1String kName("mwg-rs:Name");
constexpr QLatin1String kType("mwg-rs:Type");
constexpr QLatin1String kExtensions("mwg-rs:Extensions");
constexpr QLatin1String kAreaX("stArea:x");
constexpr QLatin1String kAreaY("stArea:y");
constexpr QLatin1String kAreaW("stArea:w");
constexpr QLatin1String kAreaH("stArea:h");
constexpr QLatin1String kAreaUnit("stArea:unit");
constexpr QLatin1String kDimensionsW("stDim:w");
constexpr QLatin1String kDimensionsH("stDim:h");
constexpr QLatin1String kDimensionsUnit("stDim:unit");
constexpr QLatin1String kClusterId("TAMO:ClusterID");
constexpr QLatin1String kCoverImageEpoch("TAMO:CoverImageEpoch");

} // namespace RKXmpNames
