/// The reference pointers of the model under short names, with the domain in which each class is held.
#pragma once

#include <tilewright/arrays/MemBase.h>
#include <tilewright/model/Ownable.h>

namespace Quill {

class TILEWRIGHT_API BaseSpace;
class TILEWRIGHT_API BaseSpaceDependency;
class TILEWRIGHT_API Field;
class TILEWRIGHT_API FieldID;
class TILEWRIGHT_API FragmentID;
class TILEWRIGHT_API FragmentIDCollection;
class TILEWRIGHT_API Grid;
class TILEWRIGHT_API Representation;
class TILEWRIGHT_API Skeleton;
template <int N> class TILEWRIGHT_API RegularlyFragmentedField;

using GridPtr = Larder::StrongPtr<Grid, Ownable<BaseSpace>::Container>;
using SkeletonPtr = Larder::StrongPtr<Skeleton, Ownable<BaseSpaceDependency>::Container>;
using BaseSpaceWeakPtr = Larder::WeakPtrImpl<BaseSpace, Ownable<BaseSpaceDependency>::Container>;
using RepresentationPtr = Larder::StrongPtr<Representation, Ownable<Field>::Container>;
using FieldPtr = Larder::StrongPtr<Field, Ownable<CreativeArrayBase>::Container>;
using RegularFieldPtr = Larder::StrongPtr<RegularlyFragmentedField<3>, Ownable<CreativeArrayBase>::Container>;
using CreatorPtr = Larder::StrongPtr<CreativeArrayBase, Larder::Creature>;
using FieldIDPtr = Larder::StrongPtr<FieldID, FieldID>;
using FragmentIDPtr = Larder::StrongPtr<FragmentID, FragmentID>;
using FragmentIDCollectionPtr = Larder::StrongPtr<FragmentIDCollection, FragmentIDCollection>;

} // namespace Quill
