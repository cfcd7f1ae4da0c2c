import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.util.Scanner;

/**
 * A system class loader that gives the simulation class without the method that the property
 * "missing" names: in the class file the method has another name of the same length.
 */
public class MissingMethods extends ClassLoader {
    public MissingMethods(ClassLoader parent) {
        super(parent);
    }

    @Override
    protected synchronized Class<?> loadClass(String name, boolean resolve)
            throws ClassNotFoundException {
        if (!name.startsWith("com.zelvox.") || findLoadedClass(name) != null) {
            return super.loadClass(name, resolve);
        }
        String method = System.getProperty("missing");
        char length = (char) method.length();  // as it stands before a name in the class file
        try (InputStream file = getResourceAsStream(name.replace('.', '/') + ".class");
                Scanner scanner = new Scanner(file, "ISO-8859-1").useDelimiter("\\A")) {
            byte[] bytes = scanner.next().replace(length + method, length + "_" + method.substring(1))
                    .getBytes(StandardCharsets.ISO_8859_1);
            return defineClass(name, bytes, 0, bytes.length);
        } catch (IOException e) {
            throw new ClassNotFoundException(name, e);
        }
    }
}
