// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <jni.h>

/// A Java virtual machine made of a few objects, strict about the rules of JNI: no call while an exception
/// is pending, no reference used after it was deleted. Counts the references that are alive. Functions that
/// the bridge does not use are null.
class FakeJava : public JNIEnv_
{
public:
    struct Object;
    using References = std::map<jobject, std::unique_ptr<Object* const>>;

    /// An int, long or boolean, or an object.
    struct Value
    {
        Value() = default;
        Value(jlong theNumber) : itsNumber(theNumber) {}
        Value(Object* theObject) : itsObject(theObject) {}

        jlong itsNumber = 0;
        Object* itsObject = nullptr;
    };

    /// theArguments without the object itself.
    using Method = std::function<Value(const std::vector<Value>& theArguments)>;

    struct Object
    {
        std::string itsClassName;
        Object* itsClass = nullptr;
        std::map<std::string, Method> itsMethods; ///< of a class: by name and signature
        std::map<std::string, Value> itsFields;   ///< by name and signature
        std::vector<jbyte> itsBytes;              ///< of a byte[]
        std::u16string itsText;                   ///< of a String
    };

    FakeJava()
    {
        functions = &GetTable();
        AddClass("java/io/InterruptedIOException");
        AddClass("java/lang/NoSuchMethodError");
    }
    ~FakeJava() = default;
    FakeJava(const FakeJava&) = delete;
    FakeJava& operator=(const FakeJava&) = delete;

    /// Every class is made once; later calls give the same one.
    Object& AddClass(const std::string& theName)
    {
        Object*& aClass = itsClasses[theName];
        if (aClass == nullptr)
        {
            aClass = &Make(theName);
        }
        return *aClass;
    }

    /// Takes a class away or, of a class, a method or field.
    void Remove(const std::string& theClassName, const std::string& theMember)
    {
        if (theMember.empty())
        {
            itsClasses.erase(theClassName);
        }
        else if (AddClass(theClassName).itsMethods.erase(theMember) == 0)
        {
            EXPECT_EQ(AddClass(theClassName).itsFields.erase(theMember), 1u) << theMember;
        }
    }

    Object& New(const std::string& theClassName)
    {
        Object& anObject = Make(theClassName);
        anObject.itsClass = &AddClass(theClassName);
        return anObject;
    }

    Object& NewText(std::u16string theText)
    {
        Object& aString = New("java/lang/String");
        aString.itsText = std::move(theText);
        return aString;
    }

    Object& NewBytes(std::vector<jbyte> theBytes)
    {
        Object& anArray = New("[B");
        anArray.itsBytes = std::move(theBytes);
        return anArray;
    }

    jobject NewLocal(Object* theObject) { return NewReference(itsLocals, theObject); }

    Object* Get(jobject theReference) const
    {
        EXPECT_EQ(itsLocals.count(theReference) + itsGlobals.count(theReference), theReference != nullptr)
            << "a dead reference";
        return theReference != nullptr ? *reinterpret_cast<Object* const*>(theReference) : nullptr;
    }

    /// To be returned by a Java method that throws.
    Value Throw(const std::string& theClassName)
    {
        itsPending = &New(theClassName);
        return {};
    }

    std::size_t GetLocalCount() const { return itsLocals.size(); }
    std::size_t GetGlobalCount() const { return itsGlobals.size(); }
    Object* GetPending() const { return itsPending; }
    void ClearPending() { itsPending = nullptr; }

    /// So many calls that Java may answer with an exception are left before one is; below 0: none is.
    long itsCallsBeforeException = -1;
    std::string itsFailingCall; ///< if not empty, only calls of this name are counted
    std::string itsExceptionClass = "java/io/IOException"; ///< what that one throws
    std::string itsFailedCall; ///< the JNI function, or Java method with signature, that threw it

private:
    /// To be asked by every function that may throw: true, with an exception pending, when it is to.
    bool Fails(const std::string& theFunction)
    {
        if (itsCallsBeforeException < 0 || (!itsFailingCall.empty() && itsFailingCall != theFunction) ||
            itsCallsBeforeException-- > 0)
        {
            return false;
        }
        itsFailedCall = theFunction;
        Throw(itsExceptionClass);
        return true;
    }

    Object& Make(const std::string& theClassName)
    {
        Object& anObject = *itsObjects.emplace_back(std::make_unique<Object>());
        anObject.itsClassName = theClassName;
        return anObject;
    }

    static jobject NewReference(References& theSet, Object* theObject)
    {
        if (theObject == nullptr)
        {
            return nullptr;
        }
        auto aReference = std::make_unique<Object*>(theObject);
        auto* const anAddress = reinterpret_cast<jobject>(aReference.get());
        theSet[anAddress] = std::move(aReference);
        return anAddress;
    }

    static void DeleteReference(References& theSet, jobject theReference)
    {
        EXPECT_EQ(theSet.erase(theReference), 1u) << "a reference deleted twice or of another kind";
    }

    static FakeJava& Enter(JNIEnv* theEnv)
    {
        auto& aJava = static_cast<FakeJava&>(*theEnv);
        EXPECT_EQ(aJava.itsPending, nullptr) << "a JNI call while an exception is pending";
        return aJava;
    }
    static FakeJava& EnterAnyway(JNIEnv* theEnv) { return static_cast<FakeJava&>(*theEnv); }

    /// A member's identifier is the address of its key in the class.
    template <class ID, auto Members>
    static ID JNICALL Find(JNIEnv* theEnv, jclass theClass, const char* theName, const char* theSignature)
    {
        FakeJava& aJava = Enter(theEnv);
        const auto& aMembers = aJava.Get(theClass)->*Members;
        const auto aFound = aMembers.find(std::string(theName) + theSignature);
        if (!aJava.Fails("GetID") && aFound == aMembers.end())
        {
            aJava.Throw("java/lang/NoSuchMethodError");
        }
        return aJava.itsPending != nullptr ? nullptr
                                           : reinterpret_cast<ID>(const_cast<std::string*>(&aFound->first));
    }

    Value Call(Object& theClass, jmethodID theMethod, va_list theArguments)
    {
        const auto& aKey = *reinterpret_cast<const std::string*>(theMethod);
        std::vector<Value> aValues;
        for (std::size_t i = aKey.find('(') + 1; aKey[i] != ')'; ++i)
        {
            if (aKey[i] == 'J')
            {
                aValues.emplace_back(va_arg(theArguments, jlong));
            }
            else if (aKey[i] == 'I' || aKey[i] == 'Z')
            {
                aValues.emplace_back(static_cast<jlong>(va_arg(theArguments, int)));
            }
            else
            {
                i = aKey[i] == '[' ? i + 1 : aKey.find(';', i);
                aValues.emplace_back(Get(va_arg(theArguments, jobject)));
            }
        }
        return Fails(aKey) ? Value() : theClass.itsMethods.at(aKey)(aValues);
    }

    template <class Result>
    static Result JNICALL CallNumber(JNIEnv* theEnv, jobject theObject, jmethodID theMethod,
                                     va_list theArguments)
    {
        FakeJava& aJava = Enter(theEnv);
        return static_cast<Result>(
            aJava.Call(*aJava.Get(theObject)->itsClass, theMethod, theArguments).itsNumber);
    }

    static Value& Field(FakeJava& theJava, jobject theObject, jfieldID theField)
    {
        return theJava.Get(theObject)->itsFields.at(*reinterpret_cast<const std::string*>(theField));
    }

    static const JNINativeInterface_& GetTable();

    std::vector<std::unique_ptr<Object>> itsObjects;
    std::map<std::string, Object*> itsClasses;
    References itsLocals;
    References itsGlobals;
    Object* itsPending = nullptr;
};

inline const JNINativeInterface_& FakeJava::GetTable()
{
    static const JNINativeInterface_ aTable = []
    {
        JNINativeInterface_ t{};
        t.FindClass = [](JNIEnv* e, const char* theName) -> jclass
        {
            FakeJava& aJava = Enter(e);
            if (aJava.Fails("FindClass"))
            {
                return nullptr;
            }
            const auto aFound = aJava.itsClasses.find(theName);
            if (aFound == aJava.itsClasses.end())
            {
                aJava.Throw("java/lang/NoClassDefFoundError");
                return nullptr;
            }
            return static_cast<jclass>(aJava.NewLocal(aFound->second));
        };
        t.GetObjectClass = [](JNIEnv* e, jobject o)
        {
            FakeJava& aJava = Enter(e);
            return static_cast<jclass>(aJava.NewLocal(aJava.Get(o)->itsClass));
        };
        t.IsInstanceOf = [](JNIEnv* e, jobject o, jclass c) -> jboolean
        {
            FakeJava& aJava = Enter(e);
            return aJava.Get(o)->itsClass->itsClassName == aJava.Get(c)->itsClassName;
        };
        t.GetMethodID = Find<jmethodID, &Object::itsMethods>;
        t.GetStaticMethodID = t.GetMethodID;
        t.GetFieldID = Find<jfieldID, &Object::itsFields>;
        t.CallIntMethodV = CallNumber<jint>;
        t.CallBooleanMethodV = CallNumber<jboolean>;
        t.CallLongMethodV = CallNumber<jlong>;
        t.CallVoidMethodV = [](JNIEnv* e, jobject o, jmethodID m, va_list a)
        { CallNumber<jint>(e, o, m, a); };
        t.CallObjectMethodV = [](JNIEnv* e, jobject o, jmethodID m, va_list a)
        {
            FakeJava& aJava = Enter(e);
            return aJava.NewLocal(aJava.Call(*aJava.Get(o)->itsClass, m, a).itsObject);
        };
        t.CallStaticObjectMethodV = [](JNIEnv* e, jclass c, jmethodID m, va_list a)
        {
            FakeJava& aJava = Enter(e);
            return aJava.NewLocal(aJava.Call(*aJava.Get(c), m, a).itsObject);
        };
        t.GetObjectField = [](JNIEnv* e, jobject o, jfieldID f)
        {
            FakeJava& aJava = Enter(e);
            return aJava.NewLocal(Field(aJava, o, f).itsObject);
        };
        t.GetIntField = [](JNIEnv* e, jobject o, jfieldID f)
        { return static_cast<jint>(Field(Enter(e), o, f).itsNumber); };
        t.GetLongField = [](JNIEnv* e, jobject o, jfieldID f) { return Field(Enter(e), o, f).itsNumber; };
        t.GetBooleanField = [](JNIEnv* e, jobject o, jfieldID f)
        { return static_cast<jboolean>(Field(Enter(e), o, f).itsNumber); };
        t.SetIntField = [](JNIEnv* e, jobject o, jfieldID f, jint theValue)
        { Field(Enter(e), o, f) = Value(jlong(theValue)); };
        t.SetObjectField = [](JNIEnv* e, jobject o, jfieldID f, jobject theValue)
        { Field(Enter(e), o, f) = Value(Enter(e).Get(theValue)); };
        t.NewObjectV = [](JNIEnv* e, jclass c, jmethodID m, va_list a)
        {
            FakeJava& aJava = Enter(e);
            Object& aClass = *aJava.Get(c);
            aJava.Call(aClass, m, a);
            return aJava.itsPending != nullptr ? nullptr : aJava.NewLocal(&aJava.New(aClass.itsClassName));
        };
        t.NewString = [](JNIEnv* e, const jchar* theText, jsize theSize)
        {
            FakeJava& aJava = Enter(e);
            return static_cast<jstring>(aJava.NewLocal(
                aJava.Fails("NewString") ? nullptr : &aJava.NewText({theText, theText + theSize})));
        };
        t.NewByteArray = [](JNIEnv* e, jsize theSize) -> jbyteArray
        {
            FakeJava& aJava = Enter(e);
            return static_cast<jbyteArray>(aJava.NewLocal(
                aJava.Fails("NewByteArray") ? nullptr
                                            : &aJava.NewBytes(std::vector<jbyte>(std::size_t(theSize)))));
        };
        t.GetByteArrayRegion = [](JNIEnv* e, jbyteArray a, jsize theStart, jsize theCount, jbyte* theBuffer)
        {
            FakeJava& aJava = Enter(e);
            if (aJava.Fails("GetByteArrayRegion"))
            {
                return;
            }
            const std::vector<jbyte>& aBytes = aJava.Get(a)->itsBytes;
            if (theStart < 0 || theCount < 0 || std::size_t(theStart) + std::size_t(theCount) > aBytes.size())
            {
                aJava.Throw("java/lang/ArrayIndexOutOfBoundsException");
                return;
            }
            std::memcpy(theBuffer, aBytes.data() + theStart, std::size_t(theCount));
        };
        t.GetStringLength = [](JNIEnv* e, jstring s)
        { return static_cast<jsize>(Enter(e).Get(s)->itsText.size()); };
        t.GetStringRegion = [](JNIEnv* e, jstring s, jsize theStart, jsize theCount, jchar* theBuffer)
        {
            std::memcpy(theBuffer, Enter(e).Get(s)->itsText.data() + theStart,
                        std::size_t(theCount) * sizeof(jchar));
        };
        t.NewGlobalRef = [](JNIEnv* e, jobject o)
        {
            FakeJava& aJava = Enter(e);
            return aJava.Fails("NewGlobalRef") ? nullptr : NewReference(aJava.itsGlobals, aJava.Get(o));
        };
        t.DeleteGlobalRef = [](JNIEnv* e, jobject o) { DeleteReference(EnterAnyway(e).itsGlobals, o); };
        t.DeleteLocalRef = [](JNIEnv* e, jobject o) { DeleteReference(EnterAnyway(e).itsLocals, o); };
        t.ExceptionCheck = [](JNIEnv* e) -> jboolean { return EnterAnyway(e).itsPending != nullptr; };
        t.ExceptionOccurred = [](JNIEnv* e)
        { return static_cast<jthrowable>(EnterAnyway(e).NewLocal(EnterAnyway(e).itsPending)); };
        t.ExceptionClear = [](JNIEnv* e) { EnterAnyway(e).itsPending = nullptr; };
        t.Throw = [](JNIEnv* e, jthrowable o) -> jint
        {
            FakeJava& aJava = Enter(e);
            aJava.itsPending = aJava.Get(o);
            return 0;
        };
        return t;
    }();
    return aTable;
}
