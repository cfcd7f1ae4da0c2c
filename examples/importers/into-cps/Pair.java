import java.io.File;
import java.io.PrintWriter;
import java.util.HashMap;
import java.util.Map;
import org.intocps.fmi.Fmi2Status;
import org.intocps.fmi.IFmiComponent;
import org.intocps.fmi.IFmu;
import org.intocps.fmi.IFmuCallback;
import org.intocps.fmi.jnifmuapi.Factory;
import org.intocps.maestro.fmi.Fmi2ModelDescription;

/**
 * Runs two models in jnifmuapi, the importer below INTO-CPS Maestro; the level in a tank is the
 * voltage of the motor:
 *
 * <pre>
 * mvn dependency:copy-dependencies -DoutputDirectory=lib
 * javac -cp "lib/*" Pair.java
 * java -cp "/usr/local/share/java/zelvox.jar:.:lib/*" Pair tank.fmu motor.fmu pair.csv
 * </pre>
 */
public class Pair {
    private static final int STEPS = 500;
    private static final double STEP = 1e-3; // s

    public static void main(String[] arguments) throws Exception {
        Slave tank = new Slave(arguments[0], "tank");
        Slave motor = new Slave(arguments[1], "motor");
        tank.begin("drain", 2); // 1/s
        motor.begin("J", 2e-4); // kg.m2
        try (PrintWriter table = new PrintWriter(arguments[2], "UTF-8")) {
            table.println("time,level,speed,current");
            for (int step = 0; step <= STEPS; step++) {
                if (step > 0) {
                    motor.set("voltage", tank.get("level"));
                    succeed(tank.component.doStep((step - 1) * STEP, STEP, true));
                    succeed(motor.component.doStep((step - 1) * STEP, STEP, true));
                }
                table.println(step * STEP + "," + tank.get("level") + "," + motor.get("speed") + ","
                        + motor.get("current"));
            }
        }
        for (Slave slave : new Slave[] {tank, motor}) {
            succeed(slave.component.terminate());
            slave.component.freeInstance();
            slave.fmu.unLoad();
        }
    }

    private static void succeed(Fmi2Status status) {
        if (status != Fmi2Status.OK) {
            throw new IllegalStateException("The FMU answered " + status + ".");
        }
    }

    private static class Slave implements IFmuCallback {
        final IFmu fmu;
        final IFmiComponent component;
        private final Map<String, long[]> references = new HashMap<>();

        Slave(String file, String name) throws Exception {
            fmu = Factory.create(new File(file));
            Fmi2ModelDescription description = new Fmi2ModelDescription(fmu.getModelDescription());
            description.getScalarVariables().forEach(variable ->
                    references.put(variable.name, new long[] {variable.valueReference}));
            fmu.load();
            component = fmu.instantiate(description.getGuid(), name, false, false, this);
        }

        void begin(String parameter, double value) throws Exception {
            set(parameter, value);
            succeed(component.setupExperiment(false, 0, 0, true, STEPS * STEP));
            succeed(component.enterInitializationMode());
            succeed(component.exitInitializationMode());
        }

        void set(String name, double value) throws Exception {
            succeed(component.setReals(references.get(name), new double[] {value}));
        }

        double get(String name) throws Exception {
            return component.getReal(references.get(name)).result[0];
        }

        @Override
        public void log(String instance, Fmi2Status status, String category, String message) {
            System.err.println(instance + ": " + status + ": " + message);
        }

        @Override
        public void stepFinished(Fmi2Status status) {
        }
    }
}
