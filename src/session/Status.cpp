#include "session/Status.h"

#include <array>

namespace corvina {
namespace {

struct Row {
    int code;
    const char* description;
};

// Rows without a published code here take the generic path of `unexpectedError`.
constexpr int genericCode = -99999;
constexpr const char* genericDescription = "Unexpected error has occurred.";

// One row per case, in the order of `Status::Case`.
constexpr std::array<Row, Status::caseCount> rows{
    {
        {0, "No error."},                                                     // success
        {-4, "Function or operation not implemented."},                       // unimplemented
        {-34, "The disk is full."},                                           // diskFull
        {-36, "I/O error."},                                                  // io
        {-49, "File already open with write permission."},                    // opWr
        {-50, "One or more parameters passed to a function were not valid."}, // param
        {-61, "Write permissions error."},                                    // wrPerm
        {-108, "Failed to allocate memory."},                                 // allocate
        {-128, "User canceled the operation."},                               // userCanceled
        {-909, "Bad parameter or invalid state for operation."},              // badReq
        {-2070, nullptr},                                                     // internalComponent
        {-25291,
         "No keychain is available. You may need to restart your computer."}, // notAvailable
        {-25292, "This keychain cannot be modified."},                        // readOnly
        {-25293, "The user name or passphrase you entered is not correct."},  // authFailed
        {-25294, "The specified keychain could not be found."},               // noSuchKeychain
        {-25295, "The specified keychain is not a valid keychain file."},     // invalidKeychain
        {-25296, "A keychain with the same name already exists."},            // duplicateKeychain
        {-25297, "The specified callback function is already installed."},    // duplicateCallback
        {-25298, "The specified callback function is not valid."},            // invalidCallback
        {-25299, "The specified item already exists in the keychain."},       // duplicateItem
        {-25300, "The specified item could not be found in the keychain."},   // itemNotFound
        {-25301,
         "There is not enough memory available to use the specified item."}, // bufferTooSmall
        {-25302, "This item contains information which is too large or in a format that cannot be "
                 "displayed."},                              // dataTooLarge
        {-25303, "The specified attribute does not exist."}, // noSuchAttr
        {-25304, "The specified item is no longer valid. It may have been deleted from the "
                 "keychain."},                              // invalidItemRef
        {-25305, "Unable to search the current keychain."}, // invalidSearchRef
        {-25306, "The specified item does not appear to be a valid keychain item."}, // noSuchClass
        {-25307, "A default keychain could not be found."},         // noDefaultKeychain
        {-25308, "User interaction is not allowed."},               // interactionNotAllowed
        {-25309, "The specified attribute could not be modified."}, // readOnlyAttr
        {-25310, "This keychain was created by a different version of the system software and "
                 "cannot be opened."}, // wrongSecVersion
        {-25311,
         "This item specifies a key size which is too large or too small."}, // keySizeNotAllowed
        {-25312, "A required component (data storage module) could not be loaded. You may need to "
                 "restart your computer."}, // noStorageModule
        {-25313, "A required component (certificate module) could not be loaded. You may need to "
                 "restart your computer."}, // noCertificateModule
        {-25314, "A required component (policy module) could not be loaded. You may need to "
                 "restart your computer."}, // noPolicyModule
        {-25315,
         "User interaction is required, but is currently not allowed."}, // interactionRequired
        {-25316, "The contents of this item cannot be retrieved."},      // dataNotAvailable
        {-25317, "The contents of this item cannot be modified."},       // dataNotModifiable
        {
            -25318, "One or more certificates required to validate this certificate cannot be "
                    "found."},                                      // createChainFailed
        {-25319, "The specified preferences domain is not valid."}, // invalidPrefsDomain
        {-25320, "In dark wake, no UI possible"},                   // inDarkWake
        {-25240,
         "The specified access control list is not in standard (simple) form."}, // aclNotSimple
        {-25241, "The specified policy cannot be found."},                       // policyNotFound
        {-25242, "The specified trust setting is invalid."},              // invalidTrustSetting
        {-25243, "The specified item has no access control."},            // noAccessForItem
        {-25244, "Invalid attempt to change the owner of this item."},    // invalidOwnerEdit
        {-25245, "No trust results are available."},                      // trustNotAvailable
        {-25256, "Import/Export format unsupported."},                    // unsupportedFormat
        {-25257, "Unknown format in import."},                            // unknownFormat
        {-25258, "Key material must be wrapped for export."},             // keyIsSensitive
        {-25259, "An attempt was made to import multiple private keys."}, // multiplePrivKeys
        {-25260, "Passphrase is required for import/export."},            // passphraseRequired
        {-25261, "The password reference was invalid."},                  // invalidPasswordRef
        {-25262, "The Trust Settings Record was corrupted."},             // invalidTrustSettings
        {-25263, "No Trust Settings were found."},                        // noTrustSettings
        {-25264,
         "MAC verification failed during PKCS12 import (wrong password?)"}, // pkcs12VerifyFailure
        {genericCode, nullptr},                                             // invalidCertificate
        {-26267, "A certificate was not signed by its proposed parent."},   // notSigner
        {genericCode, nullptr},                                             // policyDenied
        {genericCode, nullptr},                                             // invalidKey
        {-26275, "Unable to decode the provided data."},                    // decode
        {genericCode, nullptr},                                             // internal
        {genericCode, nullptr},                                             // unsupportedAlgorithm
        {genericCode, nullptr},                                             // unsupportedOperation
        {genericCode, nullptr},                                             // unsupportedPadding
        {genericCode, nullptr},                                             // itemInvalidKey
        {genericCode, nullptr},                                             // itemInvalidKeyType
        {genericCode, nullptr},                                             // itemInvalidValue
        {genericCode, nullptr},                                             // itemClassMissing
        {genericCode, nullptr},                                             // itemMatchUnsupported
        {genericCode, nullptr},                                   // useItemListUnsupported
        {genericCode, nullptr},                                   // useKeychainUnsupported
        {genericCode, nullptr},                                   // useKeychainListUnsupported
        {genericCode, nullptr},                                   // returnDataUnsupported
        {genericCode, nullptr},                                   // returnAttributesUnsupported
        {genericCode, nullptr},                                   // returnRefUnsupported
        {genericCode, nullptr},                                   // returnPersitentRefUnsupported
        {genericCode, nullptr},                                   // valueRefUnsupported
        {genericCode, nullptr},                                   // valuePersistentRefUnsupported
        {genericCode, nullptr},                                   // returnMissingPointer
        {genericCode, nullptr},                                   // matchLimitUnsupported
        {genericCode, nullptr},                                   // itemIllegalQuery
        {genericCode, nullptr},                                   // waitForCallback
        {-34018, "A required entitlement isn't present."},        // missingEntitlement
        {genericCode, nullptr},                                   // upgradePending
        {genericCode, nullptr},                                   // mpSignatureInvalid
        {genericCode, nullptr},                                   // otrTooOld
        {genericCode, nullptr},                                   // otrIDTooNew
        {-67585, "The required service is not available."},       // serviceNotAvailable
        {-67586, "The client ID is not correct."},                // insufficientClientID
        {-67587, "A device reset has occurred."},                 // deviceReset
        {-67588, "A device failure has occurred."},               // deviceFailed
        {-67589, "Adding an application ACL subject failed."},    // appleAddAppACLSubject
        {-67590, "The public key is incomplete."},                // applePublicKeyIncomplete
        {-67591, "A signature mismatch has occurred."},           // appleSignatureMismatch
        {-67592, "The specified key has an invalid start date."}, // appleInvalidKeyStartDate
        {-67593, "The specified key has an invalid end date."},   // appleInvalidKeyEndDate
        {-67594, "A conversion error has occurred."},             // conversionError
        {genericCode, nullptr},                                   // appleSSLv2Rollback
        {genericCode, nullptr},                                   // quotaExceeded
        {genericCode, nullptr},                                   // fileTooBig
        {genericCode, nullptr},                                   // invalidDatabaseBlob
        {genericCode, nullptr},                                   // invalidKeyBlob
        {genericCode, nullptr},                                   // incompatibleDatabaseBlob
        {genericCode, nullptr},                                   // incompatibleKeyBlob
        {genericCode, nullptr},                                   // hostNameMismatch
        {genericCode, nullptr},                                   // unknownCriticalExtensionFlag
        {genericCode, nullptr},                                   // noBasicConstraints
        {genericCode, nullptr},                                   // noBasicConstraintsCA
        {genericCode, nullptr},                                   // invalidAuthorityKeyID
        {genericCode, nullptr},                                   // invalidSubjectKeyID
        {genericCode, nullptr},                                   // invalidKeyUsageForPolicy
        {genericCode, nullptr},                                   // invalidExtendedKeyUsage
        {genericCode, nullptr},                                   // invalidIDLinkage
        {genericCode, nullptr},                                   // pathLengthConstraintExceeded
        {genericCode, nullptr},                                   // invalidRoot
        {genericCode, nullptr},                                   // crlExpired
        {genericCode, nullptr},                                   // crlNotValidYet
        {genericCode, nullptr},                                   // crlNotFound
        {genericCode, nullptr},                                   // crlServerDown
        {genericCode, nullptr},                                   // crlBadURI
        {genericCode, nullptr},                                   // unknownCertExtension
        {genericCode, nullptr},                                   // unknownCRLExtension
        {genericCode, nullptr},                                   // crlNotTrusted
        {genericCode, nullptr},                                   // crlPolicyFailed
        {genericCode, nullptr},                                   // idpFailure
        {genericCode, nullptr},                                   // smimeEmailAddressesNotFound
        {genericCode, nullptr},                                   // smimeBadExtendedKeyUsage
        {genericCode, nullptr},                                   // smimeBadKeyUsage
        {genericCode, nullptr},                                   // smimeKeyUsageNotCritical
        {genericCode, nullptr},                                   // smimeNoEmailAddress
        {genericCode, nullptr},                                   // smimeSubjAltNameNotCritical
        {genericCode, nullptr},                                   // sslBadExtendedKeyUsage
        {genericCode, nullptr},                                   // ocspBadResponse
        {genericCode, nullptr},                                   // ocspBadRequest
        {genericCode, nullptr},                                   // ocspUnavailable
        {genericCode, nullptr},                                   // ocspStatusUnrecognized
        {genericCode, nullptr},                                   // endOfData
        {genericCode, nullptr},                                   // incompleteCertRevocationCheck
        {genericCode, nullptr},                                   // networkFailure
        {genericCode, nullptr},                                   // ocspNotTrustedToAnchor
        {genericCode, nullptr},                                   // recordModified
        {genericCode, nullptr},                                   // ocspSignatureError
        {genericCode, nullptr},                                   // ocspNoSigner
        {genericCode, nullptr},                                   // ocspResponderMalformedReq
        {genericCode, nullptr},                                   // ocspResponderInternalError
        {genericCode, nullptr},                                   // ocspResponderTryLater
        {genericCode, nullptr},                                   // ocspResponderSignatureRequired
        {genericCode, nullptr},                                   // ocspResponderUnauthorized
        {genericCode, nullptr},                                   // ocspResponseNonceMismatch
        {genericCode, nullptr},                                   // codeSigningBadCertChainLength
        {genericCode, nullptr},                                   // codeSigningNoBasicConstraints
        {genericCode, nullptr},                     // codeSigningBadPathLengthConstraint
        {genericCode, nullptr},                     // codeSigningNoExtendedKeyUsage
        {genericCode, nullptr},                     // codeSigningDevelopment
        {genericCode, nullptr},                     // resourceSignBadCertChainLength
        {genericCode, nullptr},                     // resourceSignBadExtKeyUsage
        {genericCode, nullptr},                     // trustSettingDeny
        {genericCode, nullptr},                     // invalidSubjectName
        {genericCode, nullptr},                     // unknownQualifiedCertStatement
        {genericCode, nullptr},                     // mobileMeRequestQueued
        {genericCode, nullptr},                     // mobileMeRequestRedirected
        {genericCode, nullptr},                     // mobileMeServerError
        {genericCode, nullptr},                     // mobileMeServerNotAvailable
        {genericCode, nullptr},                     // mobileMeServerAlreadyExists
        {genericCode, nullptr},                     // mobileMeServerServiceErr
        {genericCode, nullptr},                     // mobileMeRequestAlreadyPending
        {genericCode, nullptr},                     // mobileMeNoRequestPending
        {genericCode, nullptr},                     // mobileMeCSRVerifyFailure
        {genericCode, nullptr},                     // mobileMeFailedConsistencyCheck
        {genericCode, nullptr},                     // notInitialized
        {genericCode, nullptr},                     // invalidHandleUsage
        {genericCode, nullptr},                     // pvcReferentNotFound
        {genericCode, nullptr},                     // functionIntegrityFail
        {genericCode, nullptr},                     // internalError
        {genericCode, nullptr},                     // memoryError
        {genericCode, nullptr},                     // invalidData
        {genericCode, nullptr},                     // mdsError
        {genericCode, nullptr},                     // invalidPointer
        {genericCode, nullptr},                     // selfCheckFailed
        {genericCode, nullptr},                     // functionFailed
        {genericCode, nullptr},                     // moduleManifestVerifyFailed
        {genericCode, nullptr},                     // invalidGUID
        {genericCode, nullptr},                     // invalidHandle
        {genericCode, nullptr},                     // invalidDBList
        {genericCode, nullptr},                     // invalidPassthroughID
        {genericCode, nullptr},                     // invalidNetworkAddress
        {genericCode, nullptr},                     // crlAlreadySigned
        {genericCode, nullptr},                     // invalidNumberOfFields
        {genericCode, nullptr},                     // verificationFailure
        {genericCode, nullptr},                     // unknownTag
        {genericCode, nullptr},                     // invalidSignature
        {genericCode, nullptr},                     // invalidName
        {genericCode, nullptr},                     // invalidCertificateRef
        {genericCode, nullptr},                     // invalidCertificateGroup
        {genericCode, nullptr},                     // tagNotFound
        {genericCode, nullptr},                     // invalidQuery
        {genericCode, nullptr},                     // invalidValue
        {genericCode, nullptr},                     // callbackFailed
        {genericCode, nullptr},                     // aclDeleteFailed
        {genericCode, nullptr},                     // aclReplaceFailed
        {genericCode, nullptr},                     // aclAddFailed
        {genericCode, nullptr},                     // aclChangeFailed
        {genericCode, nullptr},                     // invalidAccessCredentials
        {genericCode, nullptr},                     // invalidRecord
        {genericCode, nullptr},                     // invalidACL
        {genericCode, nullptr},                     // invalidSampleValue
        {genericCode, nullptr},                     // incompatibleVersion
        {genericCode, nullptr},                     // privilegeNotGranted
        {genericCode, nullptr},                     // invalidScope
        {genericCode, nullptr},                     // pvcAlreadyConfigured
        {genericCode, nullptr},                     // invalidPVC
        {genericCode, nullptr},                     // emmLoadFailed
        {genericCode, nullptr},                     // emmUnloadFailed
        {genericCode, nullptr},                     // addinLoadFailed
        {genericCode, nullptr},                     // invalidKeyRef
        {genericCode, nullptr},                     // invalidKeyHierarchy
        {genericCode, nullptr},                     // addinUnloadFailed
        {genericCode, nullptr},                     // libraryReferenceNotFound
        {genericCode, nullptr},                     // invalidAddinFunctionTable
        {genericCode, nullptr},                     // invalidServiceMask
        {genericCode, nullptr},                     // moduleNotLoaded
        {genericCode, nullptr},                     // invalidSubServiceID
        {genericCode, nullptr},                     // attributeNotInContext
        {genericCode, nullptr},                     // moduleManagerInitializeFailed
        {genericCode, nullptr},                     // moduleManagerNotFound
        {genericCode, nullptr},                     // eventNotificationCallbackNotFound
        {genericCode, nullptr},                     // inputLengthError
        {genericCode, nullptr},                     // outputLengthError
        {genericCode, nullptr},                     // privilegeNotSupported
        {genericCode, nullptr},                     // deviceError
        {genericCode, nullptr},                     // attachHandleBusy
        {genericCode, nullptr},                     // notLoggedIn
        {genericCode, nullptr},                     // algorithmMismatch
        {genericCode, nullptr},                     // keyUsageIncorrect
        {genericCode, nullptr},                     // keyBlobTypeIncorrect
        {genericCode, nullptr},                     // keyHeaderInconsistent
        {genericCode, nullptr},                     // unsupportedKeyFormat
        {genericCode, nullptr},                     // unsupportedKeySize
        {genericCode, nullptr},                     // invalidKeyUsageMask
        {genericCode, nullptr},                     // unsupportedKeyUsageMask
        {genericCode, nullptr},                     // invalidKeyAttributeMask
        {genericCode, nullptr},                     // unsupportedKeyAttributeMask
        {genericCode, nullptr},                     // invalidKeyLabel
        {genericCode, nullptr},                     // unsupportedKeyLabel
        {genericCode, nullptr},                     // invalidKeyFormat
        {genericCode, nullptr},                     // unsupportedVectorOfBuffers
        {genericCode, nullptr},                     // invalidInputVector
        {genericCode, nullptr},                     // invalidOutputVector
        {genericCode, nullptr},                     // invalidContext
        {genericCode, nullptr},                     // invalidAlgorithm
        {genericCode, nullptr},                     // invalidAttributeKey
        {genericCode, nullptr},                     // missingAttributeKey
        {genericCode, nullptr},                     // invalidAttributeInitVector
        {genericCode, nullptr},                     // missingAttributeInitVector
        {genericCode, nullptr},                     // invalidAttributeSalt
        {genericCode, nullptr},                     // missingAttributeSalt
        {genericCode, nullptr},                     // invalidAttributePadding
        {genericCode, nullptr},                     // missingAttributePadding
        {genericCode, nullptr},                     // invalidAttributeRandom
        {genericCode, nullptr},                     // missingAttributeRandom
        {genericCode, nullptr},                     // invalidAttributeSeed
        {genericCode, nullptr},                     // missingAttributeSeed
        {genericCode, nullptr},                     // invalidAttributePassphrase
        {genericCode, nullptr},                     // missingAttributePassphrase
        {genericCode, nullptr},                     // invalidAttributeKeyLength
        {genericCode, nullptr},                     // missingAttributeKeyLength
        {genericCode, nullptr},                     // invalidAttributeBlockSize
        {genericCode, nullptr},                     // missingAttributeBlockSize
        {genericCode, nullptr},                     // invalidAttributeOutputSize
        {genericCode, nullptr},                     // missingAttributeOutputSize
        {genericCode, nullptr},                     // invalidAttributeRounds
        {genericCode, nullptr},                     // missingAttributeRounds
        {genericCode, nullptr},                     // invalidAlgorithmParms
        {genericCode, nullptr},                     // missingAlgorithmParms
        {genericCode, nullptr},                     // invalidAttributeLabel
        {genericCode, nullptr},                     // missingAttributeLabel
        {genericCode, nullptr},                     // invalidAttributeKeyType
        {genericCode, nullptr},                     // missingAttributeKeyType
        {genericCode, nullptr},                     // invalidAttributeMode
        {genericCode, nullptr},                     // missingAttributeMode
        {genericCode, nullptr},                     // invalidAttributeEffectiveBits
        {genericCode, nullptr},                     // missingAttributeEffectiveBits
        {genericCode, nullptr},                     // invalidAttributeStartDate
        {genericCode, nullptr},                     // missingAttributeStartDate
        {genericCode, nullptr},                     // invalidAttributeEndDate
        {genericCode, nullptr},                     // missingAttributeEndDate
        {genericCode, nullptr},                     // invalidAttributeVersion
        {genericCode, nullptr},                     // missingAttributeVersion
        {genericCode, nullptr},                     // invalidAttributePrime
        {genericCode, nullptr},                     // missingAttributePrime
        {genericCode, nullptr},                     // invalidAttributeBase
        {genericCode, nullptr},                     // missingAttributeBase
        {genericCode, nullptr},                     // invalidAttributeSubprime
        {genericCode, nullptr},                     // missingAttributeSubprime
        {genericCode, nullptr},                     // invalidAttributeIterationCount
        {genericCode, nullptr},                     // missingAttributeIterationCount
        {genericCode, nullptr},                     // invalidAttributeDLDBHandle
        {genericCode, nullptr},                     // missingAttributeDLDBHandle
        {genericCode, nullptr},                     // invalidAttributeAccessCredentials
        {genericCode, nullptr},                     // missingAttributeAccessCredentials
        {genericCode, nullptr},                     // invalidAttributePublicKeyFormat
        {genericCode, nullptr},                     // missingAttributePublicKeyFormat
        {genericCode, nullptr},                     // invalidAttributePrivateKeyFormat
        {genericCode, nullptr},                     // missingAttributePrivateKeyFormat
        {genericCode, nullptr},                     // invalidAttributeSymmetricKeyFormat
        {genericCode, nullptr},                     // missingAttributeSymmetricKeyFormat
        {genericCode, nullptr},                     // invalidAttributeWrappedKeyFormat
        {genericCode, nullptr},                     // missingAttributeWrappedKeyFormat
        {genericCode, nullptr},                     // stagedOperationInProgress
        {genericCode, nullptr},                     // stagedOperationNotStarted
        {genericCode, nullptr},                     // verifyFailed
        {genericCode, nullptr},                     // querySizeUnknown
        {genericCode, nullptr},                     // blockSizeMismatch
        {genericCode, nullptr},                     // publicKeyInconsistent
        {genericCode, nullptr},                     // deviceVerifyFailed
        {genericCode, nullptr},                     // invalidLoginName
        {genericCode, nullptr},                     // alreadyLoggedIn
        {genericCode, nullptr},                     // invalidDigestAlgorithm
        {genericCode, nullptr},                     // invalidCRLGroup
        {genericCode, nullptr},                     // certificateCannotOperate
        {genericCode, nullptr},                     // certificateExpired
        {genericCode, nullptr},                     // certificateNotValidYet
        {genericCode, nullptr},                     // certificateRevoked
        {genericCode, nullptr},                     // certificateSuspended
        {genericCode, nullptr},                     // insufficientCredentials
        {genericCode, nullptr},                     // invalidAction
        {genericCode, nullptr},                     // invalidAuthority
        {genericCode, nullptr},                     // verifyActionFailed
        {genericCode, nullptr},                     // invalidCertAuthority
        {genericCode, nullptr},                     // invaldCRLAuthority
        {genericCode, nullptr},                     // invalidCRLEncoding
        {genericCode, nullptr},                     // invalidCRLType
        {genericCode, nullptr},                     // invalidCRL
        {genericCode, nullptr},                     // invalidFormType
        {genericCode, nullptr},                     // invalidID
        {genericCode, nullptr},                     // invalidIdentifier
        {genericCode, nullptr},                     // invalidIndex
        {genericCode, nullptr},                     // invalidPolicyIdentifiers
        {genericCode, nullptr},                     // invalidTimeString
        {genericCode, nullptr},                     // invalidReason
        {genericCode, nullptr},                     // invalidRequestInputs
        {genericCode, nullptr},                     // invalidResponseVector
        {genericCode, nullptr},                     // invalidStopOnPolicy
        {genericCode, nullptr},                     // invalidTuple
        {genericCode, nullptr},                     // multipleValuesUnsupported
        {genericCode, nullptr},                     // notTrusted
        {genericCode, nullptr},                     // noDefaultAuthority
        {genericCode, nullptr},                     // rejectedForm
        {genericCode, nullptr},                     // requestLost
        {genericCode, nullptr},                     // requestRejected
        {genericCode, nullptr},                     // unsupportedAddressType
        {genericCode, nullptr},                     // unsupportedService
        {genericCode, nullptr},                     // invalidTupleGroup
        {genericCode, nullptr},                     // invalidBaseACLs
        {genericCode, nullptr},                     // invalidTupleCredendtials
        {genericCode, nullptr},                     // invalidEncoding
        {genericCode, nullptr},                     // invalidValidityPeriod
        {genericCode, nullptr},                     // invalidRequestor
        {genericCode, nullptr},                     // requestDescriptor
        {genericCode, nullptr},                     // invalidBundleInfo
        {genericCode, nullptr},                     // invalidCRLIndex
        {genericCode, nullptr},                     // noFieldValues
        {genericCode, nullptr},                     // unsupportedFieldFormat
        {genericCode, nullptr},                     // unsupportedIndexInfo
        {genericCode, nullptr},                     // unsupportedLocality
        {genericCode, nullptr},                     // unsupportedNumAttributes
        {genericCode, nullptr},                     // unsupportedNumIndexes
        {genericCode, nullptr},                     // unsupportedNumRecordTypes
        {genericCode, nullptr},                     // fieldSpecifiedMultiple
        {genericCode, nullptr},                     // incompatibleFieldFormat
        {genericCode, nullptr},                     // invalidParsingModule
        {genericCode, nullptr},                     // databaseLocked
        {genericCode, nullptr},                     // datastoreIsOpen
        {genericCode, nullptr},                     // missingValue
        {genericCode, nullptr},                     // unsupportedQueryLimits
        {genericCode, nullptr},                     // unsupportedNumSelectionPreds
        {genericCode, nullptr},                     // unsupportedOperator
        {genericCode, nullptr},                     // invalidDBLocation
        {genericCode, nullptr},                     // invalidAccessRequest
        {genericCode, nullptr},                     // invalidIndexInfo
        {genericCode, nullptr},                     // invalidNewOwner
        {genericCode, nullptr},                     // invalidModifyMode
        {genericCode, nullptr},                     // missingRequiredExtension
        {genericCode, nullptr},                     // extendedKeyUsageNotCritical
        {genericCode, nullptr},                     // timestampMissing
        {genericCode, nullptr},                     // timestampInvalid
        {genericCode, nullptr},                     // timestampNotTrusted
        {genericCode, nullptr},                     // timestampServiceNotAvailable
        {genericCode, nullptr},                     // timestampBadAlg
        {genericCode, nullptr},                     // timestampBadRequest
        {genericCode, nullptr},                     // timestampBadDataFormat
        {genericCode, nullptr},                     // timestampTimeNotAvailable
        {genericCode, nullptr},                     // timestampUnacceptedPolicy
        {genericCode, nullptr},                     // timestampUnacceptedExtension
        {genericCode, nullptr},                     // timestampAddInfoNotAvailable
        {genericCode, nullptr},                     // timestampSystemFailure
        {genericCode, nullptr},                     // signingTimeMissing
        {genericCode, nullptr},                     // timestampRejection
        {genericCode, nullptr},                     // timestampWaiting
        {genericCode, nullptr},                     // timestampRevocationWarning
        {genericCode, nullptr},                     // timestampRevocationNotification
        {-99999, "Unexpected error has occurred."}, // unexpectedError
    }};

constexpr std::array<const char*, Status::caseCount> names{{
    "success",
    "unimplemented",
    "diskFull",
    "io",
    "opWr",
    "param",
    "wrPerm",
    "allocate",
    "userCanceled",
    "badReq",
    "internalComponent",
    "notAvailable",
    "readOnly",
    "authFailed",
    "noSuchKeychain",
    "invalidKeychain",
    "duplicateKeychain",
    "duplicateCallback",
    "invalidCallback",
    "duplicateItem",
    "itemNotFound",
    "bufferTooSmall",
    "dataTooLarge",
    "noSuchAttr",
    "invalidItemRef",
    "invalidSearchRef",
    "noSuchClass",
    "noDefaultKeychain",
    "interactionNotAllowed",
    "readOnlyAttr",
    "wrongSecVersion",
    "keySizeNotAllowed",
    "noStorageModule",
    "noCertificateModule",
    "noPolicyModule",
    "interactionRequired",
    "dataNotAvailable",
    "dataNotModifiable",
    "createChainFailed",
    "invalidPrefsDomain",
    "inDarkWake",
    "aclNotSimple",
    "policyNotFound",
    "invalidTrustSetting",
    "noAccessForItem",
    "invalidOwnerEdit",
    "trustNotAvailable",
    "unsupportedFormat",
    "unknownFormat",
    "keyIsSensitive",
    "multiplePrivKeys",
    "passphraseRequired",
    "invalidPasswordRef",
    "invalidTrustSettings",
    "noTrustSettings",
    "pkcs12VerifyFailure",
    "invalidCertificate",
    "notSigner",
    "policyDenied",
    "invalidKey",
    "decode",
    "internal",
    "unsupportedAlgorithm",
    "unsupportedOperation",
    "unsupportedPadding",
    "itemInvalidKey",
    "itemInvalidKeyType",
    "itemInvalidValue",
    "itemClassMissing",
    "itemMatchUnsupported",
    "useItemListUnsupported",
    "useKeychainUnsupported",
    "useKeychainListUnsupported",
    "returnDataUnsupported",
    "returnAttributesUnsupported",
    "returnRefUnsupported",
    "returnPersitentRefUnsupported",
    "valueRefUnsupported",
    "valuePersistentRefUnsupported",
    "returnMissingPointer",
    "matchLimitUnsupported",
    "itemIllegalQuery",
    "waitForCallback",
    "missingEntitlement",
    "upgradePending",
    "mpSignatureInvalid",
    "otrTooOld",
    "otrIDTooNew",
    "serviceNotAvailable",
    "insufficientClientID",
    "deviceReset",
    "deviceFailed",
    "appleAddAppACLSubject",
    "applePublicKeyIncomplete",
    "appleSignatureMismatch",
    "appleInvalidKeyStartDate",
    "appleInvalidKeyEndDate",
    "conversionError",
    "appleSSLv2Rollback",
    "quotaExceeded",
    "fileTooBig",
    "invalidDatabaseBlob",
    "invalidKeyBlob",
    "incompatibleDatabaseBlob",
    "incompatibleKeyBlob",
    "hostNameMismatch",
    "unknownCriticalExtensionFlag",
    "noBasicConstraints",
    "noBasicConstraintsCA",
    "invalidAuthorityKeyID",
    "invalidSubjectKeyID",
    "invalidKeyUsageForPolicy",
    "invalidExtendedKeyUsage",
    "invalidIDLinkage",
    "pathLengthConstraintExceeded",
    "invalidRoot",
    "crlExpired",
    "crlNotValidYet",
    "crlNotFound",
    "crlServerDown",
    "crlBadURI",
    "unknownCertExtension",
    "unknownCRLExtension",
    "crlNotTrusted",
    "crlPolicyFailed",
    "idpFailure",
    "smimeEmailAddressesNotFound",
    "smimeBadExtendedKeyUsage",
    "smimeBadKeyUsage",
    "smimeKeyUsageNotCritical",
    "smimeNoEmailAddress",
    "smimeSubjAltNameNotCritical",
    "sslBadExtendedKeyUsage",
    "ocspBadResponse",
    "ocspBadRequest",
    "ocspUnavailable",
    "ocspStatusUnrecognized",
    "endOfData",
    "incompleteCertRevocationCheck",
    "networkFailure",
    "ocspNotTrustedToAnchor",
    "recordModified",
    "ocspSignatureError",
    "ocspNoSigner",
    "ocspResponderMalformedReq",
    "ocspResponderInternalError",
    "ocspResponderTryLater",
    "ocspResponderSignatureRequired",
    "ocspResponderUnauthorized",
    "ocspResponseNonceMismatch",
    "codeSigningBadCertChainLength",
    "codeSigningNoBasicConstraints",
    "codeSigningBadPathLengthConstraint",
    "codeSigningNoExtendedKeyUsage",
    "codeSigningDevelopment",
    "resourceSignBadCertChainLength",
    "resourceSignBadExtKeyUsage",
    "trustSettingDeny",
    "invalidSubjectName",
    "unknownQualifiedCertStatement",
    "mobileMeRequestQueued",
    "mobileMeRequestRedirected",
    "mobileMeServerError",
    "mobileMeServerNotAvailable",
    "mobileMeServerAlreadyExists",
    "mobileMeServerServiceErr",
    "mobileMeRequestAlreadyPending",
    "mobileMeNoRequestPending",
    "mobileMeCSRVerifyFailure",
    "mobileMeFailedConsistencyCheck",
    "notInitialized",
    "invalidHandleUsage",
    "pvcReferentNotFound",
    "functionIntegrityFail",
    "internalError",
    "memoryError",
    "invalidData",
    "mdsError",
    "invalidPointer",
    "selfCheckFailed",
    "functionFailed",
    "moduleManifestVerifyFailed",
    "invalidGUID",
    "invalidHandle",
    "invalidDBList",
    "invalidPassthroughID",
    "invalidNetworkAddress",
    "crlAlreadySigned",
    "invalidNumberOfFields",
    "verificationFailure",
    "unknownTag",
    "invalidSignature",
    "invalidName",
    "invalidCertificateRef",
    "invalidCertificateGroup",
    "tagNotFound",
    "invalidQuery",
    "invalidValue",
    "callbackFailed",
    "aclDeleteFailed",
    "aclReplaceFailed",
    "aclAddFailed",
    "aclChangeFailed",
    "invalidAccessCredentials",
    "invalidRecord",
    "invalidACL",
    "invalidSampleValue",
    "incompatibleVersion",
    "privilegeNotGranted",
    "invalidScope",
    "pvcAlreadyConfigured",
    "invalidPVC",
    "emmLoadFailed",
    "emmUnloadFailed",
    "addinLoadFailed",
    "invalidKeyRef",
    "invalidKeyHierarchy",
    "addinUnloadFailed",
    "libraryReferenceNotFound",
    "invalidAddinFunctionTable",
    "invalidServiceMask",
    "moduleNotLoaded",
    "invalidSubServiceID",
    "attributeNotInContext",
    "moduleManagerInitializeFailed",
    "moduleManagerNotFound",
    "eventNotificationCallbackNotFound",
    "inputLengthError",
    "outputLengthError",
    "privilegeNotSupported",
    "deviceError",
    "attachHandleBusy",
    "notLoggedIn",
    "algorithmMismatch",
    "keyUsageIncorrect",
    "keyBlobTypeIncorrect",
    "keyHeaderInconsistent",
    "unsupportedKeyFormat",
    "unsupportedKeySize",
    "invalidKeyUsageMask",
    "unsupportedKeyUsageMask",
    "invalidKeyAttributeMask",
    "unsupportedKeyAttributeMask",
    "invalidKeyLabel",
    "unsupportedKeyLabel",
    "invalidKeyFormat",
    "unsupportedVectorOfBuffers",
    "invalidInputVector",
    "invalidOutputVector",
    "invalidContext",
    "invalidAlgorithm",
    "invalidAttributeKey",
    "missingAttributeKey",
    "invalidAttributeInitVector",
    "missingAttributeInitVector",
    "invalidAttributeSalt",
    "missingAttributeSalt",
    "invalidAttributePadding",
    "missingAttributePadding",
    "invalidAttributeRandom",
    "missingAttributeRandom",
    "invalidAttributeSeed",
    "missingAttributeSeed",
    "invalidAttributePassphrase",
    "missingAttributePassphrase",
    "invalidAttributeKeyLength",
    "missingAttributeKeyLength",
    "invalidAttributeBlockSize",
    "missingAttributeBlockSize",
    "invalidAttributeOutputSize",
    "missingAttributeOutputSize",
    "invalidAttributeRounds",
    "missingAttributeRounds",
    "invalidAlgorithmParms",
    "missingAlgorithmParms",
    "invalidAttributeLabel",
    "missingAttributeLabel",
    "invalidAttributeKeyType",
    "missingAttributeKeyType",
    "invalidAttributeMode",
    "missingAttributeMode",
    "invalidAttributeEffectiveBits",
    "missingAttributeEffectiveBits",
    "invalidAttributeStartDate",
    "missingAttributeStartDate",
    "invalidAttributeEndDate",
    "missingAttributeEndDate",
    "invalidAttributeVersion",
    "missingAttributeVersion",
    "invalidAttributePrime",
    "missingAttributePrime",
    "invalidAttributeBase",
    "missingAttributeBase",
    "invalidAttributeSubprime",
    "missingAttributeSubprime",
    "invalidAttributeIterationCount",
    "missingAttributeIterationCount",
    "invalidAttributeDLDBHandle",
    "missingAttributeDLDBHandle",
    "invalidAttributeAccessCredentials",
    "missingAttributeAccessCredentials",
    "invalidAttributePublicKeyFormat",
    "missingAttributePublicKeyFormat",
    "invalidAttributePrivateKeyFormat",
    "missingAttributePrivateKeyFormat",
    "invalidAttributeSymmetricKeyFormat",
    "missingAttributeSymmetricKeyFormat",
    "invalidAttributeWrappedKeyFormat",
    "missingAttributeWrappedKeyFormat",
    "stagedOperationInProgress",
    "stagedOperationNotStarted",
    "verifyFailed",
    "querySizeUnknown",
    "blockSizeMismatch",
    "publicKeyInconsistent",
    "deviceVerifyFailed",
    "invalidLoginName",
    "alreadyLoggedIn",
    "invalidDigestAlgorithm",
    "invalidCRLGroup",
    "certificateCannotOperate",
    "certificateExpired",
    "certificateNotValidYet",
    "certificateRevoked",
    "certificateSuspended",
    "insufficientCredentials",
    "invalidAction",
    "invalidAuthority",
    "verifyActionFailed",
    "invalidCertAuthority",
    "invaldCRLAuthority",
    "invalidCRLEncoding",
    "invalidCRLType",
    "invalidCRL",
    "invalidFormType",
    "invalidID",
    "invalidIdentifier",
    "invalidIndex",
    "invalidPolicyIdentifiers",
    "invalidTimeString",
    "invalidReason",
    "invalidRequestInputs",
    "invalidResponseVector",
    "invalidStopOnPolicy",
    "invalidTuple",
    "multipleValuesUnsupported",
    "notTrusted",
    "noDefaultAuthority",
    "rejectedForm",
    "requestLost",
    "requestRejected",
    "unsupportedAddressType",
    "unsupportedService",
    "invalidTupleGroup",
    "invalidBaseACLs",
    "invalidTupleCredendtials",
    "invalidEncoding",
    "invalidValidityPeriod",
    "invalidRequestor",
    "requestDescriptor",
    "invalidBundleInfo",
    "invalidCRLIndex",
    "noFieldValues",
    "unsupportedFieldFormat",
    "unsupportedIndexInfo",
    "unsupportedLocality",
    "unsupportedNumAttributes",
    "unsupportedNumIndexes",
    "unsupportedNumRecordTypes",
    "fieldSpecifiedMultiple",
    "incompatibleFieldFormat",
    "invalidParsingModule",
    "databaseLocked",
    "datastoreIsOpen",
    "missingValue",
    "unsupportedQueryLimits",
    "unsupportedNumSelectionPreds",
    "unsupportedOperator",
    "invalidDBLocation",
    "invalidAccessRequest",
    "invalidIndexInfo",
    "invalidNewOwner",
    "invalidModifyMode",
    "missingRequiredExtension",
    "extendedKeyUsageNotCritical",
    "timestampMissing",
    "timestampInvalid",
    "timestampNotTrusted",
    "timestampServiceNotAvailable",
    "timestampBadAlg",
    "timestampBadRequest",
    "timestampBadDataFormat",
    "timestampTimeNotAvailable",
    "timestampUnacceptedPolicy",
    "timestampUnacceptedExtension",
    "timestampAddInfoNotAvailable",
    "timestampSystemFailure",
    "signingTimeMissing",
    "timestampRejection",
    "timestampWaiting",
    "timestampRevocationWarning",
    "timestampRevocationNotification",
    "unexpectedError",
}};

} // namespace

int Status::code() const {
    return rows[value_].code;
}

QString Status::description() const {
    const char* text = rows[value_].description;
    return QString::fromUtf8(text != nullptr ? text : genericDescription);
}

QString Status::name() const {
    return QString::fromLatin1(names[value_]);
}

Status Status::fromCode(int code) {
    if (code == genericCode) {
        return unexpectedError;
    }
    for (int i = 0; i < caseCount; ++i) {
        if (rows[i].code == code) {
            return static_cast<Case>(i);
        }
    }
    return unexpectedError;
}

KeychainError::KeychainError(Status status)
    : status_(status)
    , what_(status.description().toStdString()) {}

} // namespace corvina
